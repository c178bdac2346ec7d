// An object's semaphore in a caller's hands. The lookup's reference is dropped before the caller
// goes on: what stays is the semaphore.
#include <lom/lock.h>
#include <moxplat/osal.h>

#include "lom/object_ref.hpp"

namespace {

// Passes an object's semaphore to take or release; the layer's code comes back unchanged.
gint32 with_semaphore(OBJ_HANDLE obj_handle, gint32 (*operation)(gint32, gint32)) {
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    return operation(object->semid, object->sem_member);
}

}  // namespace

gint32 lom_lock_object(OBJ_HANDLE obj_handle) {
    return with_semaphore(obj_handle, osal_process_sem_p);
}

gint32 lom_unlock_object(OBJ_HANDLE obj_handle) {
    return with_semaphore(obj_handle, osal_process_sem_v);
}
