// Several objects under one semaphore. Chains are cut at one step: a mutex object that itself
// shares another's semaphore counts as that semaphore's owner from then on.
#include <lom/lock.h>
#include <pub.h>
#include <shmem.h>

#include "lom/hooks.hpp"
#include "lom/object_ref.hpp"

void lom_mutex_object(OBJECT_PTR obj_ptr) {
    auto* embryo = static_cast<OBJECT_HEAD_S*>(obj_ptr);
    if (embryo == nullptr || embryo->mutex_obj_name == nullptr) {
        return;
    }
    const mox::ObjectRef mutex_object = mox::find_local(embryo->mutex_obj_name);
    if (!mutex_object) {
        return;
    }
    g_sem_free_func(embryo->sem_index, embryo->sem_member);
    if (mutex_object->mutex_obj_name != nullptr) {
        pub_debug_print(MX_DBG_ERR, "object mutex in queue or cycle, %s->%s->%s.\n",
                        embryo->object_name, mutex_object->object_name,
                        mutex_object->mutex_obj_name);
        shm_free(mutex_object->mutex_obj_name);
        mutex_object->mutex_obj_name = nullptr;
    }
    embryo->semid = mutex_object->semid;
    embryo->sem_index = mutex_object->sem_index;
    embryo->sem_member = mutex_object->sem_member;
}
