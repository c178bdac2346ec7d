// Internal view of dropping references and freeing records.
#ifndef MOX_LOM_RELEASE_HPP
#define MOX_LOM_RELEASE_HPP

#include <lom/object.h>

// Drops one reference; the last one takes the record out of the object table and frees it. Nothing
// for null and for a record whose references are all gone. The record must not be used afterwards.
void _object_unref(OBJECT_HEAD_S* object_head);

// Frees a record that has left its table; in the pool's owner with the pool memory it leads to. The
// table's value destroy function.
void _free_object_head(gpointer object_head);

// Gives a record's pool memory and semaphore back; owner only. Nothing for a record that shares
// another's properties.
void _free_object_resource(OBJECT_HEAD_S* object_head);

// Frees a chain of names in the pool, from its tail.
void _free_object_namelist(CLASS_OBJECT_LIST_S* list);

namespace mox {

// Takes a record that was replaced in the object table out of the table's hands: it is freed now,
// or, while somebody still holds it, when the last holder lets go. Called with g_obj_hash_mutex
// held.
void retire_replaced(OBJECT_HEAD_S* object_head);

}  // namespace mox

#endif
