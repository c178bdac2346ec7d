// Access to the hardware behind a property, through the driver library. In the pool's owner the
// accessor's family is handed to the library at every lookup, so that an accessor is known before
// it is used; the library takes what it knows already without harm.
#include <lom/hardware.h>
#include <lom/property.h>
#include <moxplat/bounded.h>
#include <moxplat/driver.h>
#include <pub.h>
#include <shmem.h>

#include "lom/object_ref.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"

namespace {

constexpr gint32 kLeastNameRoom = 31;

// Copies the accessor's name of a property that has one and is not overridden.
gint32 copy_accessor_name(OBJ_HANDLE object_handle, const gchar* property_name, gchar* accessor,
                          gint32 length) {
    const mox::ObjectRef object = mox::find_local(object_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    SERIALISED_PROPERTY_S* property = nullptr;
    if (const gint32 result = mox::find_property(*object, property_name, &property);
        result != MOX_OK) {
        return result;
    }
    if (mox::has_state(*property, mox::kOverride) || !mox::has_accessor(*property)) {
        return MOX_ERR_NO_ACCESSOR;
    }
    const gint32 copied =
        strncpy_s(accessor, static_cast<gsize>(length), property->accessor, PUB_NAME_LENGTH - 1);
    if (copied != 0) {
        pub_debug_print(MX_DBG_LOG, "[%s][%d]: strncpy_s failed ret(%d).\n", "lom", __LINE__,
                        copied);
    }
    return MOX_OK;
}

}  // namespace

gint32 lom_get_property_accessor(OBJ_HANDLE object_handle, const gchar* property_name,
                                 gchar* accessor, gint32 length) {
    if (object_handle == 0 || property_name == nullptr || accessor == nullptr ||
        length <= kLeastNameRoom) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const gint32 result = copy_accessor_name(object_handle, property_name, accessor, length);
    if (result == MOX_OK && shm_is_owner()) {
        const OBJ_HANDLE accessor_handle = lom_get_object_handle(accessor);
        if (accessor_handle != 0) {
            lom_create_has_object(accessor_handle);
        }
    }
    return result;
}

gint32 lom_block_read(OBJ_HANDLE obj_handle, const gchar* property_name, gint32 offset,
                      gsize length, gpointer out_data) {
    gchar accessor[PUB_NAME_LENGTH];
    const gint32 result =
        lom_get_property_accessor(obj_handle, property_name, accessor, PUB_NAME_LENGTH);
    return result != MOX_OK ? result : accessor_read(accessor, offset, length, out_data);
}

gint32 lom_block_write(OBJ_HANDLE obj_handle, const gchar* property_name, gint32 offset,
                       gsize length, gconstpointer in_data) {
    gchar accessor[PUB_NAME_LENGTH];
    const gint32 result =
        lom_get_property_accessor(obj_handle, property_name, accessor, PUB_NAME_LENGTH);
    return result != MOX_OK ? result : accessor_write(accessor, offset, length, in_data);
}

gint32 lom_get_basic_hvalue(OBJ_HANDLE obj_handle, const gchar* property_name, GVariant** value) {
    if (value == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    gchar type[PUB_TYPE_LENGTH];
    gint32 result = lom_get_property_type(obj_handle, property_name, type, PUB_TYPE_LENGTH);
    if (result != MOX_OK) {
        return result;
    }
    guint8 bytes[LOM_DATA_HOLD_SIZE] = {};
    result = lom_block_read(obj_handle, property_name, 0, 0, bytes);
    if (result != MOX_OK) {
        return result;
    }
    *value = pub_base_gvariant_new(type, bytes);
    return *value == nullptr ? MOX_ERR_INTERNAL : MOX_OK;
}
