// The owner's listings as C records. An array has one record more than the listing, all zero.
#include <moxhost/operator.h>

#include <algorithm>

#include "module/host_error.hpp"
#include "module/module.hpp"
#include "module/owner_link.hpp"
#include "wire/operator_types.hpp"

namespace mox::host {
namespace {

static_assert(static_cast<int>(wire::SourceKind::memory) == MOXHOST_SOURCE_MEMORY &&
              static_cast<int>(wire::SourceKind::hardware) == MOXHOST_SOURCE_HARDWARE &&
              static_cast<int>(wire::SourceKind::property) == MOXHOST_SOURCE_PROPERTY &&
              static_cast<int>(wire::SourceKind::formula) == MOXHOST_SOURCE_FORMULA);

// Asks for a listing and fills a record from each of its items. arguments: floating, nullable.
template <typename Info, typename Fill>
Info* ask_for_list(const char* method, GVariant* arguments, const char* reply_type, gsize* count,
                   GError** error, Fill fill) {
    const VariantPtr reply = owner_link().call(method, arguments, reply_type, error);
    if (!reply) {
        return nullptr;
    }
    const VariantPtr list(g_variant_get_child_value(reply.get(), 0));
    const gsize length = g_variant_n_children(list.get());
    Info* const infos = g_try_new0(Info, length + 1);
    if (infos == nullptr) {
        set_error(error, MOXHOST_ERROR_FAILED,
                  std::string("call ") + method + ": no memory for " + std::to_string(length) +
                      " entries");
        return nullptr;
    }
    for (gsize at = 0; at < length; ++at) {
        const VariantPtr item(g_variant_get_child_value(list.get(), at));
        fill(infos[at], item.get());
    }
    if (count != nullptr) {
        *count = length;
    }
    return infos;
}

template <gsize size>
void copy_text(gchar (&field)[size], const gchar* text) {
    g_strlcpy(field, text, size);
}

void fill_object(MoxHostObjectInfo& info, GVariant* item) {
    const gchar* texts[4] = {};
    g_variant_get(item, "(&s&s&s&suuuub)", &texts[0], &texts[1], &texts[2], &texts[3],
                  &info.position, &info.property_count, &info.value_bytes, &info.pool_bytes,
                  &info.is_collection);
    copy_text(info.name, texts[0]);
    copy_text(info.class_name, texts[1]);
    copy_text(info.module, texts[2]);
    copy_text(info.board, texts[3]);
}

void fill_class(MoxHostClassInfo& info, GVariant* item) {
    const gchar* texts[3] = {};
    g_variant_get(item, "(&s&s&suuu)", &texts[0], &texts[1], &texts[2], &info.id,
                  &info.object_count, &info.pool_bytes);
    copy_text(info.name, texts[0]);
    copy_text(info.parent, texts[1]);
    copy_text(info.module, texts[2]);
}

void fill_property(MoxHostPropertyInfo& info, GVariant* item) {
    const gchar* name = nullptr;
    const gchar* type = nullptr;
    gint32 kind = 0;
    gint32 persist = 0;
    g_variant_get(item, "(&s&sisuuui^ast)", &name, &type, &kind, &info.source, &info.state,
                  &info.size, &info.capacity, &persist, &info.listeners, &info.events);
    copy_text(info.name, name);
    copy_text(info.type, type);
    info.source_kind = static_cast<MoxHostSource>(kind);
    info.persist = static_cast<PER_MODE_E>(persist);
}

void fill_module(MoxHostModuleInfo& info, GVariant* item) {
    const gchar* name = nullptr;
    gint32 type = 0;
    g_variant_get(item, "(&siiiixuuutttt)", &name, &type, &info.pid, &info.id, &info.queue_id,
                  &info.joined_us, &info.copies, &info.listens, &info.queued, &info.queued_bytes,
                  &info.limit_bytes, &info.events_sent, &info.events_lost);
    copy_text(info.name, name);
    info.type = static_cast<MOX_MODULE_TYPE>(type);
}

void fill_lock(MoxHostLockInfo& info, GVariant* item) {
    const gchar* object = nullptr;
    GVariant* waiters = nullptr;
    g_variant_get(item, "(&siiiib@ai)", &object, &info.semid, &info.member, &info.holder,
                  &info.holder_pid, &info.holder_is_dead, &waiters);
    copy_text(info.object, object);
    gsize count = 0;
    const auto* const threads =
        static_cast<const gint32*>(g_variant_get_fixed_array(waiters, &count, sizeof(gint32)));
    info.waiter_count = static_cast<guint32>(std::min<gsize>(count, MOXHOST_LOCK_WAITERS));
    std::copy_n(threads, info.waiter_count, info.waiters);
    g_variant_unref(waiters);
}

}  // namespace
}  // namespace mox::host

using namespace mox::host;

MoxHostObjectInfo* moxhost_object_infos(MoxHostModule*, const gchar* class_name, gsize* count,
                                        GError** error) {
    const gchar* const name = class_name == nullptr ? "" : class_name;
    if (!check_text(name, "class", error)) {
        return nullptr;
    }
    return ask_for_list<MoxHostObjectInfo>("ObjectInfos", g_variant_new("(s)", name),
                                           wire::object_infos_reply, count, error, fill_object);
}

MoxHostClassInfo* moxhost_class_infos(MoxHostModule*, gsize* count, GError** error) {
    return ask_for_list<MoxHostClassInfo>("ClassInfos", nullptr, wire::class_infos_reply, count,
                                          error, fill_class);
}

MoxHostPropertyInfo* moxhost_property_infos(MoxHostModule*, const gchar* object_name, gsize* count,
                                            GError** error) {
    if (!check_text(object_name, "object", error)) {
        return nullptr;
    }
    return ask_for_list<MoxHostPropertyInfo>("PropertyInfos", g_variant_new("(s)", object_name),
                                             wire::property_infos_reply, count, error,
                                             fill_property);
}

void moxhost_property_infos_free(MoxHostPropertyInfo* infos) {
    for (MoxHostPropertyInfo* info = infos; info != nullptr && info->name[0] != '\0'; ++info) {
        g_free(info->source);
        g_strfreev(info->listeners);
    }
    g_free(infos);
}

MoxHostModuleInfo* moxhost_module_infos(MoxHostModule*, gsize* count, GError** error) {
    return ask_for_list<MoxHostModuleInfo>("ModuleInfos", nullptr, wire::module_infos_reply, count,
                                           error, fill_module);
}

MoxHostLockInfo* moxhost_lock_infos(MoxHostModule*, gboolean all, gsize* count, GError** error) {
    return ask_for_list<MoxHostLockInfo>("LockInfos", g_variant_new("(b)", all),
                                         wire::lock_infos_reply, count, error, fill_lock);
}

gboolean moxhost_pool_info(MoxHostModule*, MoxHostPoolInfo* info, GError** error) {
    const VariantPtr reply = owner_link().call("PoolInfo", nullptr, wire::pool_info_reply, error);
    if (!reply) {
        return FALSE;
    }
    g_variant_get(reply.get(), wire::pool_info_reply, &info->total, &info->used, &info->largest,
                  &info->blocks, &info->objects, &info->classes, &info->removed);
    return TRUE;
}

guint64 moxhost_messages_lost(const MoxHostModule* module) {
    return module->losses->entries[module->info.module_id].lost.load(std::memory_order_relaxed);
}
