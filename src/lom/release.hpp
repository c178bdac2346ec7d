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

// Takes a reference, unless the last one is gone: a holder may drop it at any moment, also under
// the table's mutex.
inline bool take_reference(OBJECT_HEAD_S* object_head) {
    gint32 count = g_atomic_int_get(&object_head->ref_count);
    while (count > 0) {
        if (g_atomic_int_compare_and_exchange(&object_head->ref_count, count, count + 1)) {
            return true;
        }
        count = g_atomic_int_get(&object_head->ref_count);
    }
    return false;
}

// Drops the reference that a referring object holds on the referred one, if it refers to any:
// without taking that one out of the table.
void drop_refered(OBJECT_HEAD_S& object);

// Takes a record that was replaced in the object table out of the table's hands: it is freed now,
// or, while somebody still holds it, when the last holder lets go. Called within a
// TableChangeGuard.
void retire_replaced(OBJECT_HEAD_S* object_head);

// Drops the object table's own reference, once however often it is asked. Returns whether the
// record is the caller's to take out of the table and free; otherwise its last holder does that.
// Called within a TableChangeGuard, for a record that the table has.
bool drop_table_reference(OBJECT_HEAD_S* object_head);

// Gives the table's own reference to the caller, who takes the record out of the table for another
// home. Returns false for a record that its last holder is about to free. Called within a
// TableChangeGuard.
bool claim_table_reference(OBJECT_HEAD_S* object_head);

}  // namespace mox

#endif
