// Each hook is one bounded call to the owner, from any thread; the store's code is the answer. When
// the owner cannot be asked the answer is MOX_ERR_INTERNAL (logged).
#include "module/store_hooks.hpp"

#include <lom.h>
#include <moxplat/persist_store.h>

#include <cstring>

#include "module/hook_call.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

GVariant* bytes_argument(gconstpointer data, guint32 size) {
    return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data, size, 1);
}

gint32 save(const gchar* object_name, const gchar* name, const gchar* type, guint32 size,
            gconstpointer data, gboolean has_prefix, PER_MODE_E per_mode) {
    if (!is_utf8(object_name) || !is_utf8(name) || !is_utf8(type) ||
        (data == nullptr && size > 0)) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    if (size > wire::max_remote_bytes) {
        return MOX_ERR_MESSAGE_TOO_BIG;
    }
    return ask_status("SaveValue", g_variant_new("(sss@aybi)", object_name, name, type,
                                                 bytes_argument(data, size), has_prefix,
                                                 static_cast<gint32>(per_mode)));
}

gint32 read_saved(const gchar* object_name, const gchar* name, CFG_READ_S* read,
                  gboolean has_prefix, PER_MODE_E save_opt) {
    if (!is_utf8(object_name) || !is_utf8(name) || read == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const VariantPtr reply =
        ask("ReadSaved",
            g_variant_new("(ssbi)", object_name, name, has_prefix, static_cast<gint32>(save_opt)),
            wire::saved_reply);
    if (!reply) {
        return MOX_ERR_INTERNAL;
    }
    gint32 status = MOX_OK;
    const gchar* type = nullptr;
    GVariant* child = nullptr;
    g_variant_get(reply.get(), "(i&s@ay)", &status, &type, &child);
    const VariantPtr bytes(child);
    const gsize size = g_variant_get_size(child);
    if (status != PER_OK || size > wire::max_remote_bytes) {
        return status != PER_OK ? status : gint32{MOX_ERR_MESSAGE_TOO_BIG};
    }
    // Blocks of their own: the record is released by cfg_read_free, or member by member.
    read->type = g_strdup(type);
    read->size = static_cast<guint32>(size);
    read->data_out = size == 0 ? nullptr : g_memdup2(g_variant_get_data(child), size);
    return PER_OK;
}

gint32 is_saved(const gchar* object_name, const gchar* name, gboolean has_prefix,
                PER_MODE_E save_opt, gboolean* saved) {
    if (!is_utf8(object_name) || !is_utf8(name) || saved == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const VariantPtr reply =
        ask("IsSaved",
            g_variant_new("(ssbi)", object_name, name, has_prefix, static_cast<gint32>(save_opt)),
            wire::is_saved_reply);
    if (!reply) {
        return MOX_ERR_INTERNAL;
    }
    gint32 status = MOX_OK;
    gboolean answer = FALSE;
    g_variant_get(reply.get(), wire::is_saved_reply, &status, &answer);
    if (status == PER_OK) {
        *saved = answer;
    }
    return status;
}

gint32 status_save(const gchar* object_name, const gchar* property_name, guint32 state) {
    return is_utf8(object_name) && is_utf8(property_name)
               ? ask_status("StatusSave", g_variant_new("(ssu)", object_name, property_name, state))
               : gint32{MOX_ERR_BAD_ARGUMENT};
}

gint32 status_remove(const gchar* object_name, const gchar* property_name) {
    return is_utf8(object_name) && is_utf8(property_name)
               ? ask_status("StatusRemove", g_variant_new("(ss)", object_name, property_name))
               : gint32{MOX_ERR_BAD_ARGUMENT};
}

}  // namespace

void install_store_hooks() {
    constexpr CFG_REMOTE_S remote = {save, read_saved, is_saved, status_save, status_remove};
    cfg_store_set_remote(&remote);
    lom_set_remote_save_property_func(save);
    lom_set_remote_get_saved_value_func(read_saved);
}

void remove_store_hooks() {
    lom_set_remote_get_saved_value_func(nullptr);
    lom_set_remote_save_property_func(nullptr);
    cfg_store_set_remote(nullptr);
}

}  // namespace mox::host
