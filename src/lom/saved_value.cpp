// Reading saved values back. Bytes from the store are checked before readers take them at their
// word.
#include <lom/persist.h>
#include <lom/registry.h>
#include <pub.h>

#include <cstring>

#include "base/glib_ptr.hpp"
#include "lom/hooks.hpp"
#include "lom/property.hpp"
#include "lom/saved_name.hpp"
#include "lom/write_target.hpp"

namespace {

// What a read filled in, released at scope end.
struct SavedRead {
    SavedRead() = default;
    ~SavedRead() { cfg_read_free(&read); }
    SavedRead(const SavedRead&) = delete;
    SavedRead& operator=(const SavedRead&) = delete;

    CFG_READ_S read = {};
};

// The value that was saved, floating; null when the bytes are none of the type they claim.
GVariant* value_of(const CFG_READ_S& read) {
    if (read.type == nullptr || read.data_out == nullptr || read.size == 0 ||
        strnlen(read.type, PUB_TYPE_LENGTH) == PUB_TYPE_LENGTH) {
        return nullptr;
    }
    gchar persisted[PUB_TYPE_LENGTH + 1] = {};
    gchar type[PUB_TYPE_LENGTH + 1] = {};
    g_strlcpy(persisted, read.type, sizeof(persisted));
    pub_unserialize_type(persisted, type, PUB_TYPE_LENGTH);
    if (pub_str_type_check(type) == GVARIANT_NOT_SUPPORT || !g_variant_type_string_is_valid(type) ||
        !g_variant_type_is_definite(G_VARIANT_TYPE(type))) {
        return nullptr;
    }
    mox::GPtr<void> copy(g_memdup2(read.data_out, read.size));
    const mox::VariantPtr unproved(g_variant_ref_sink(g_variant_new_from_data(
        G_VARIANT_TYPE(type), copy.get(), read.size, FALSE, nullptr, nullptr)));
    return g_variant_is_normal_form(unproved.get())
               ? mox::value_of_bytes(type, copy.release(), read.size)
               : nullptr;
}

}  // namespace

gint32 lom_get_saved_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                           GVariant** property_value, PER_MODE_E save_opt, gboolean is_remote) {
    if (property_value == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    mox::WriteTarget target;
    gint32 result = mox::find_write_target(obj_handle, property_name, mox::Walk::kReadBack, target);
    if (result != MOX_OK) {
        return result;
    }
    const RemoteGetSavedValueFunc get = is_remote ? g_remote_get_saved_value_func : cfg_read_v2;
    if (get == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    const mox::SavedName saved(target.name);
    SavedRead saved_read;
    result =
        get(target.object->object_name, saved.name, &saved_read.read, saved.has_prefix, save_opt);
    if (result != PER_OK) {
        return result;
    }
    GVariant* value = value_of(saved_read.read);
    if (value == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    *property_value = value;
    return MOX_OK;
}

gint32 lom_is_property_value_saved(OBJ_HANDLE obj_handle, const gchar* property_name,
                                   PER_MODE_E save_opt, gboolean is_remote, gboolean* saved) {
    const gchar* object_name = lom_handle_to_name(obj_handle);
    if (object_name == nullptr || property_name == nullptr || saved == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    if (is_remote) {
        return MOX_ERR_INTERNAL;
    }
    const mox::SavedName name(property_name);
    return cfg_is_saved(object_name, name.name, name.has_prefix, save_opt, saved);
}
