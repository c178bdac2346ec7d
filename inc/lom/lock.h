/* lom/lock.h: the process-shared semaphore of an object. It guards the object's value bytes and
 * state bits in the pool and is not recursive: a thread that holds it must not call a function that
 * takes it for the same object, or for one that shares it, before lom_unlock_object. */
#ifndef MOX_LOM_LOCK_H
#define MOX_LOM_LOCK_H

#include <moxlib/moxbase.h>

G_BEGIN_DECLS

/* Takes an object's semaphore, waiting for its holder. Any process, any thread; the lookup takes
 * the object-table mutex, which is released before the wait. Returns 0; MOX_ERR_OBJECT_NOT_FOUND;
 * else the operating-system layer's code. */
MOX_API gint32 lom_lock_object(OBJ_HANDLE obj_handle);

/* Releases it, in the thread that took it. Returns as lom_lock_object. */
MOX_API gint32 lom_unlock_object(OBJ_HANDLE obj_handle);

/* Makes a record under construction share the semaphore of the object named in its mutex_obj_name.
 * Owner only, before the record is added. obj_ptr: nullable. Without a mutex object, or when it is
 * not found, the record keeps its own semaphore. A mutex object that itself shares another's counts
 * as the owner of that semaphore from then on (logged): chains are cut at one step. Calls the
 * semaphore-free hook. */
MOX_API void lom_mutex_object(OBJECT_PTR obj_ptr);

G_END_DECLS

#endif
