// A write that also goes to the hardware behind the property.
#include <lom/hardware.h>
#include <lom/property.h>

#include "base/glib_ptr.hpp"
#include "lom/object_ref.hpp"
#include "lom/property_state.hpp"

namespace {

// Gives the state of a property of an object that may have gone since it was written.
gint32 find_state(OBJ_HANDLE obj_handle, const gchar* property_name, PROPERTY_STATE_S& state) {
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    SERIALISED_PROPERTY_S* property = nullptr;
    const gint32 result = mox::find_property(*object, property_name, &property);
    if (result == MOX_OK) {
        state.all = mox::read_published(property->state.all);
    }
    return result;
}

bool wants_hardware(OBJ_HANDLE obj_handle, const gchar* property_name,
                    USER_APPLY_MODE_STATE apply_mode) {
    if (apply_mode != APPLY_AUTO_MODE) {
        return apply_mode == APPLY_W_MODE;
    }
    gchar accessor[PUB_NAME_LENGTH];
    return lom_get_property_accessor(obj_handle, property_name, accessor, PUB_NAME_LENGTH) ==
           MOX_OK;
}

}  // namespace

gint32 lom_apply_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                                GVariant* property_value, PER_MODE_E per_mode,
                                USER_APPLY_MODE_STATE apply_mode, gboolean is_static) {
    gint32 result =
        lom_set_property_value(obj_handle, property_name, property_value, per_mode, is_static);
    if (result != MOX_OK) {
        return result;
    }
    PROPERTY_STATE_S state = {};
    result = find_state(obj_handle, property_name, state);
    if (result != MOX_OK || !wants_hardware(obj_handle, property_name, apply_mode) ||
        (state.all & mox::kAccessWrite) == 0) {
        return result;
    }
    // The hardware gets the bytes that were stored.
    const mox::VariantPtr value(g_variant_get_normal_form(property_value));
    return lom_block_write(obj_handle, property_name, 0, g_variant_get_size(value.get()),
                           g_variant_get_data(value.get()));
}
