// The copy function runs under the object table's mutex: it makes one bounded call and does not
// call back into the object store. A record is believed only when all its pointers lead into the
// pool.
#include "module/object_hooks.hpp"

#include <lom.h>
#include <pub.h>
#include <shmem.h>

#include <atomic>
#include <cstring>

#include "module/hook_call.hpp"
#include "module/record_check.hpp"
#include "wire/interface.hpp"
#include "wire/value_copy.hpp"

namespace mox::host {
namespace {

std::atomic<guint64> mapped_bytes{0};
std::atomic<gint32> bitmap_id{0};

struct Answer {
    gint32 status;
    VariantPtr bytes;

    gsize size() const { return g_variant_get_size(bytes.get()); }
    gconstpointer data() const { return g_variant_get_data(bytes.get()); }
};

// The reply to a call that answers with a status and bytes; the status is MOX_ERR_INTERNAL when the
// call itself fails.
Answer ask_bytes(const char* method, GVariant* arguments) {
    const VariantPtr reply = ask(method, arguments, wire::record_reply);
    if (!reply) {
        return {MOX_ERR_INTERNAL, nullptr};
    }
    Answer answer = {0, nullptr};
    GVariant* bytes = nullptr;
    g_variant_get(reply.get(), "(i@ay)", &answer.status, &bytes);
    answer.bytes.reset(bytes);
    return answer;
}

PoolRange pool_range() {
    return {SHM_POOL_ADDRESS, mapped_bytes.load(std::memory_order_relaxed)};
}

// What is a process's own begins anew here, whatever the reply has there: the owner's handle of its
// module means nothing, and nothing is bound or shared yet.
void start_local_fields(OBJECT_HEAD_S& record) {
    record.module = nullptr;
    record.refered_object = nullptr;
    record.ref_count = 1;
    record.user_data = nullptr;
    record.destroy_func = nullptr;
    record.property_hash = nullptr;
}

OBJECT_HEAD_S* copy_object(const gchar* object_name, gsize size) {
    if (size != sizeof(OBJECT_HEAD_S) || !is_utf8(object_name)) {
        return nullptr;
    }
    const Answer answer = ask_bytes("CopyObject", g_variant_new("(s)", object_name));
    if (answer.status != MOX_OK) {
        return nullptr;
    }
    if (answer.size() != size) {
        pub_debug_print(MX_DBG_ERR, "record of %s has %d bytes, not %d: dropped.\n", object_name,
                        static_cast<int>(answer.size()), static_cast<int>(size));
        return nullptr;
    }
    const PoolRange pool = pool_range();
    const char* const fault = record_fault(answer.data(), pool);
    auto* const record = g_new0(OBJECT_HEAD_S, 1);
    std::memcpy(record, answer.data(), size);
    if (fault != nullptr) {
        pub_debug_print(MX_DBG_ERR, "record of %s dropped: %s.\n", object_name, fault);
        // The owner has set this module's bit; there will be no copy whose end clears it.
        if (is_bitmap(record->ref_bitmap, pool)) {
            lom_clear_reference_bitmap(record->ref_bitmap, bitmap_id.load());
        }
        g_free(record);
        return nullptr;
    }
    start_local_fields(*record);
    return record;
}

gint32 remote_get(const gchar* object_name, const gchar* property_name, gint32 offset, gsize length,
                  gpointer out_data) {
    constexpr gsize whole_value = 8;
    if (!is_utf8(object_name) || !is_utf8(property_name) || out_data == nullptr ||
        length > wire::max_remote_bytes) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const Answer answer = ask_bytes(
        "RemoteGet",
        g_variant_new("(ssiu)", object_name, property_name, offset, static_cast<guint32>(length)));
    if (answer.status != MOX_OK) {
        return answer.status;
    }
    const gsize expected = offset == 0 && length == 0 ? whole_value : length;
    if (answer.size() != expected) {
        return MOX_ERR_INTERNAL;
    }
    std::memcpy(out_data, answer.data(), expected);
    return MOX_OK;
}

// Called for a value that does not fit its room here.
gint32 remote_set(const gchar* object_name, const gchar* property_name, GVariant* value) {
    if (!is_utf8(object_name) || !is_utf8(property_name) || value == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    if (g_variant_get_size(value) > wire::max_remote_bytes) {
        return MOX_ERR_MESSAGE_TOO_BIG;
    }
    return ask_status("RemoteSet",
                      g_variant_new("(ssv)", object_name, property_name, wire::copy_value(value)));
}

}  // namespace

void install_object_hooks(guint64 pool_bytes, gint32 module_id) {
    mapped_bytes.store(pool_bytes, std::memory_order_relaxed);
    bitmap_id.store(module_id, std::memory_order_relaxed);
    lom_set_copy_func(copy_object);
    lom_set_remote_get_property_func(remote_get);
    lom_set_modify_func(remote_set);
}

void remove_object_hooks() {
    lom_set_modify_func(nullptr);
    lom_set_remote_get_property_func(nullptr);
    lom_set_copy_func(nullptr);
}

}  // namespace mox::host
