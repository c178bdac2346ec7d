// Data of this process bound to an object. The object's own semaphore guards it, so binding
// serialises with every other process's use of the object.
#include <lom/registry.h>

#include "base/published.hpp"
#include "lom/object_ref.hpp"
#include "lom/semaphore_guard.hpp"

gint32 lom_bind_data(OBJ_HANDLE obj_handle, gpointer user_data, GDestroyNotify destroy_func) {
    if (obj_handle == 0 || user_data == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    const mox::SemaphoreGuard semaphore(*object);
    if (!semaphore) {
        return MOX_ERR_SEMAPHORE;
    }
    if (object->user_data != nullptr && object->destroy_func != nullptr) {
        object->destroy_func(object->user_data);
    }
    mox::publish(object->user_data, user_data);
    object->destroy_func = destroy_func;
    return MOX_OK;
}

gpointer lom_get_binded_data(OBJ_HANDLE obj_handle) {
    const mox::ObjectRef object = mox::find_local(obj_handle);
    return object ? mox::read_published(object->user_data) : nullptr;
}
