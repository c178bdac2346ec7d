// Saving a property's value and marking it as saved statically: the mark is set here first, then
// recorded in the store.
#include <lom/persist.h>
#include <pub.h>

#include "base/glib_ptr.hpp"
#include "lom/hooks.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/saved_name.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/write_target.hpp"

namespace {

// The bytes to save: the given value's, or a copy of the stored ones.
class SavedBytes {
public:
    // What is read back must be in normal form.
    explicit SavedBytes(GVariant* value) : normal_form_(g_variant_get_normal_form(value)) {
        const gsize whole_size = g_variant_get_size(normal_form_.get());
        if (whole_size > G_MAXUINT32) {
            code = MOX_ERR_BAD_ARGUMENT;
            return;
        }
        size = static_cast<guint32>(whole_size);
        data = g_variant_get_data(normal_form_.get());
    }

    SavedBytes(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property) {
        const mox::SemaphoreGuard semaphore(object);
        if (!semaphore && !semaphore.is_held_already()) {
            code = MOX_ERR_SEMAPHORE;
            return;
        }
        TLV_S stored = {};
        code = mox::copy_stored_value(property, stored);
        copy_.reset(stored.data);
        size = stored.size;
        data = stored.data;
    }

    gint32 code = MOX_OK;
    guint32 size = 0;
    gconstpointer data = nullptr;

private:
    mox::GPtr<void> copy_;
    mox::VariantPtr normal_form_;
};

gint32 save_bytes(const mox::WriteTarget& target, const SavedBytes& bytes, PER_MODE_E per_mode,
                  gboolean is_remote) {
    if (bytes.code != MOX_OK) {
        return bytes.code;
    }
    const RemoteSavePropertyFunc save = is_remote ? g_remote_save_property_func : cfg_save_v2;
    if (save == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    gchar type[PUB_TYPE_LENGTH + 1] = {};
    pub_serialize_type(target.property->type, type, PUB_TYPE_LENGTH);
    const mox::SavedName saved(target.name);
    return save(target.object->object_name, saved.name, type, bytes.size, bytes.data,
                saved.has_prefix, per_mode);
}

gint32 record_static(const mox::WriteTarget& target) {
    mox::set_state(*target.property, mox::kStaticSaved);
    const gint32 result = cfg_status_save(target.object->object_name, target.name,
                                          mox::lasting_state(*target.property));
    if (result < PER_OK) {
        pub_debug_print(MX_DBG_ERR, "save %s.%s status failed %d", target.object->object_name,
                        target.name, result);
        return result;
    }
    return PER_OK;
}

}  // namespace

gint32 lom_save_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                               GVariant* property_value, PER_MODE_E per_mode, gboolean is_remote,
                               gboolean is_static) {
    mox::WriteTarget target;
    gint32 result = mox::find_write_target(obj_handle, property_name, mox::Walk::kSave, target);
    if (result != MOX_OK) {
        return result;
    }
    result = save_bytes(target,
                        property_value != nullptr ? SavedBytes(property_value)
                                                  : SavedBytes(*target.object, *target.property),
                        per_mode, is_remote);
    return is_static && result == PER_OK ? record_static(target) : result;
}
