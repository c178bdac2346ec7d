// Handles, names and the plain fields of a record. Every lookup by handle stays in this process.
#include <lom/registry.h>

#include "base/published.hpp"
#include "lom/object_ref.hpp"

namespace {

constexpr gint32 kNameLength = PUB_NAME_LENGTH;
constexpr guint32 kNoPosition = 0xFFFFFFFF;

// Copies a string of the first name_list node: a reference's own object, whatever name the handle
// stands for.
gint32 copy_charged(OBJ_HANDLE obj_handle, gchar* buffer, gint32 length,
                    gchar* CLASS_OBJECT_LIST_S::*name) {
    if (obj_handle == 0 || buffer == nullptr || length != kNameLength) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    const CLASS_OBJECT_LIST_S* first = object->name_list;
    if (first == nullptr || first->*name == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    g_strlcpy(buffer, first->*name, PUB_NAME_LENGTH);
    return MOX_OK;
}

}  // namespace

OBJ_HANDLE lom_name_to_handle(const gchar* object_name) {
    return object_name == nullptr ? 0 : static_cast<OBJ_HANDLE>(g_quark_from_string(object_name));
}

const gchar* lom_handle_to_name(OBJ_HANDLE obj_handle) {
    return obj_handle == 0 ? nullptr : g_quark_to_string(static_cast<GQuark>(obj_handle));
}

const gchar* lom_get_object_name(OBJ_HANDLE obj_handle) {
    return lom_handle_to_name(obj_handle);
}

OBJ_HANDLE lom_get_object_handle(const gchar* object_name) {
    return mox::find_handle(object_name);
}

gint32 lom_get_class_name(OBJ_HANDLE obj_handle, gchar* buffer, gint32 length) {
    if (obj_handle == 0 || buffer == nullptr || length < kNameLength) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    g_strlcpy(buffer, object->class_name == nullptr ? "" : object->class_name,
              static_cast<gsize>(length));
    return MOX_OK;
}

gint32 lom_get_charged_class(OBJ_HANDLE obj_handle, gchar* buffer, gint32 length) {
    return copy_charged(obj_handle, buffer, length, &CLASS_OBJECT_LIST_S::class_name);
}

gint32 lom_get_charged_object(OBJ_HANDLE obj_handle, gchar* buffer, gint32 length) {
    return copy_charged(obj_handle, buffer, length, &CLASS_OBJECT_LIST_S::object_name);
}

void lom_set_module(OBJ_HANDLE obj_handle, MDL_HANDLE module) {
    if (const mox::ObjectRef object = mox::find_local(obj_handle)) {
        mox::publish(object->module, module);
    }
}

MDL_HANDLE lom_get_module(OBJ_HANDLE obj_handle) {
    const mox::ObjectRef object = mox::find_local(obj_handle);
    return object ? mox::read_published(object->module) : nullptr;
}

guint32 lom_get_position(OBJ_HANDLE obj_handle) {
    const mox::ObjectRef object = mox::find_local(obj_handle);
    return object ? object->position : kNoPosition;
}
