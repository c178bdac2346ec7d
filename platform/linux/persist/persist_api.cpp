// The calls of moxplat/persist.h: the arguments are checked here, for the store of this process and
// for the one of another process alike.
#include <moxplat/persist.h>

#include "argument_check.hpp"
#include "process_store.hpp"
#include "value_check.hpp"
#include "warning.hpp"

using namespace mox::persist;

namespace {

ItemKey key_of(const gchar* object_name, const gchar* name, gboolean has_prefix) {
    return {object_name, name, has_prefix != FALSE};
}

// What another process answered goes below a trusted variant as well, so it is checked here again.
gint32 check_answer(const ItemKey& key, gint32 code, CFG_READ_S& read, CFG_READ_S& answer) {
    if (code != PER_OK) {
        cfg_read_free(&answer);
        return code;
    }
    const bool fits = answer.type != nullptr && is_persisted_type(answer.type) &&
                      answer.size <= largest_value &&
                      (answer.data_out != nullptr || answer.size == 0);
    const ValueCheck check =
        fits ? check_value(answer.type, answer.size, answer.data_out) : ValueCheck::bad;
    if (check == ValueCheck::good) {
        read = answer;
        return PER_OK;
    }
    cfg_read_free(&answer);
    if (check == ValueCheck::out_of_memory) return PER_ERROR_MALLOC_FAIL;
    warn(
        "another process answered a read of %s.%s with bytes that are no value of their type; save "
        "it anew, or let both processes run the same version",
        key.object, key.name);
    return PER_ERROR_DATA_INVALID;
}

}  // namespace

gint32 cfg_save_v2(const gchar* object_name, const gchar* name, const gchar* type, guint32 size,
                   gconstpointer data, gboolean has_prefix, PER_MODE_E per_mode) {
    const gint32 code = check_save(object_name, name, type, size, data, per_mode);
    if (code != PER_OK) return code;
    return with_store_or_remote(
        [&](Store& store) {
            return store.save(key_of(object_name, name, has_prefix), {type, data, size}, per_mode);
        },
        [&](const CFG_REMOTE_S& remote) {
            return remote.save(object_name, name, type, size, data, has_prefix, per_mode);
        });
}

gint32 cfg_read_v2(const gchar* object_name, const gchar* name, CFG_READ_S* read,
                   gboolean has_prefix, PER_MODE_E save_opt) {
    const gint32 code = check_names(object_name, name);
    if (code != PER_OK) return code;
    if (read == nullptr) return PER_ERROR_PARA_2_INVALID;
    if (!is_mode(save_opt)) return PER_ERROR_PARA_4_INVALID;
    return with_store_or_remote(
        [&](Store& store) {
            return store.read(key_of(object_name, name, has_prefix), save_opt, *read);
        },
        [&](const CFG_REMOTE_S& remote) {
            CFG_READ_S answer{};
            const gint32 result = remote.read(object_name, name, &answer, has_prefix, save_opt);
            return check_answer(key_of(object_name, name, has_prefix), result, *read, answer);
        });
}

void cfg_read_free(CFG_READ_S* read) {
    if (read == nullptr) return;
    g_free(read->type);
    g_free(read->data_out);
    *read = {};
}

gint32 cfg_is_saved(const gchar* object_name, const gchar* name, gboolean has_prefix,
                    PER_MODE_E save_opt, gboolean* saved) {
    const gint32 code = check_names(object_name, name);
    if (code != PER_OK) return code;
    if (!is_mode(save_opt)) return PER_ERROR_PARA_3_INVALID;
    if (saved == nullptr) return PER_ERROR_PARA_4_INVALID;
    return with_store_or_remote(
        [&](Store& store) {
            bool is_saved = false;
            const gint32 result =
                store.is_saved(key_of(object_name, name, has_prefix), save_opt, is_saved);
            if (result == PER_OK) *saved = is_saved ? TRUE : FALSE;
            return result;
        },
        [&](const CFG_REMOTE_S& remote) {
            return remote.is_saved(object_name, name, has_prefix, save_opt, saved);
        });
}

gint32 cfg_status_save(const gchar* object_name, const gchar* property_name, guint32 state) {
    const gint32 code = check_names(object_name, property_name);
    if (code != PER_OK) return code;
    return with_store_or_remote(
        [&](Store& store) { return store.save_status(object_name, property_name, state); },
        [&](const CFG_REMOTE_S& remote) {
            return remote.status_save(object_name, property_name, state);
        });
}

gint32 cfg_status_remove(const gchar* object_name, const gchar* property_name) {
    const gint32 code = check_names(object_name, property_name);
    if (code != PER_OK) return code;
    return with_store_or_remote(
        [&](Store& store) { return store.remove_status(object_name, property_name); },
        [&](const CFG_REMOTE_S& remote) {
            return remote.status_remove(object_name, property_name);
        });
}
