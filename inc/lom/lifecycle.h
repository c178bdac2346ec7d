/* lom/lifecycle.h: how objects end. One that leaves this process's table is freed when nobody holds
 * it; in the pool's owner, garbage waits until no other process has a copy. */
#ifndef MOX_LOM_LIFECYCLE_H
#define MOX_LOM_LIFECYCLE_H

#include <lom/registry.h>
#include <moxlib/moxbase.h>
#include <stdio.h>

G_BEGIN_DECLS

/* Drops this process's hold on an object; it can be found until the last thread that holds it lets
 * go, and is freed then. Deleting it again meanwhile does nothing. No event is sent, the class
 * keeps the object in its lists and its aliases stay. obj_handle: nothing happens for 0 or an
 * object that is not known here. Any thread, any process: in the pool's owner the object's memory
 * goes, elsewhere the copy. Takes the object-table mutex. */
MOX_API void lom_delete_object(OBJ_HANDLE obj_handle);

/* Deletes all ready objects of a position in this process, and the physical objects of it in the
 * driver library. position: nothing happens for 0. foreach_func: nullable; is called first, without
 * a lock, for every object of every position, with the position as user data. Objects that are held
 * are not found from now on and freed when the last holder lets go. Any thread, any process. Takes
 * the object-table mutex. */
MOX_API void lom_batch_delete(guint32 position, ForeachObjfunc foreach_func);

/* Moves all objects of a position out of the object table into the garbage, and tells their
 * classes. position: 0 is refused with a message. collect_table: object name -> GSList of property
 * names; gets for each object that has any a copy of its name and the newly allocated names of its
 * properties that are not marked as saved; the caller's, who frees both with it. Nothing happens
 * when it is null. Any thread, in the pool's owner. Takes the object-table mutex, then the
 * garbage's. */
MOX_API void lom_remove_to_garbage(guint32 position, GHashTable* collect_table);

/* Frees all garbage of which no module has a copy and that nobody in this process holds. Any
 * thread, in the pool's owner. Takes the garbage's mutex, and frees without it; an object that a
 * freed one stood for may take the object-table mutex. */
MOX_API void lom_reclaim_garbage(void);

/* Prints all garbage, one block per record. stream: not closed; nothing is printed for null, nor
 * before there was any garbage. Any thread. Takes the garbage's mutex, then the class table's. */
MOX_API void lom_list_garbage(FILE* stream);

/* Clears one module's bit in every object of this process's table.
 * bitmap_id: 1 to 127, others are ignored. Any thread. Takes the object-table mutex. */
MOX_API void lom_batch_unref(gint32 bitmap_id);

/* Withdraws this process from all its objects: clears its bit in every one. The object-table mutex
 * stays taken for good, so any other thread that looks an object up blocks for ever. The last call
 * of a process that leaves. */
MOX_API void lom_detach_objects(void);

G_END_DECLS

#endif
