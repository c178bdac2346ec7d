// The one place where references are dropped and records are freed. Counting needs no lock; only
// the record's departure from the table does. Between the last drop and the departure lookups see a
// count below 1 and find nothing.
#include "lom/release.hpp"

#include <lom/sharing.h>
#include <pub.h>
#include <shmem.h>

#include "base/mutex_guard.hpp"
#include "lom/hooks.hpp"
#include "lom/object_table.hpp"
#include "lom/ref_bitmap.hpp"
#include "lom/table_lock.hpp"

namespace {

// Three kinds of records whose end does not lie with the table alone. A leaf lock of their own
// guards the sets, because records are freed under different locks; the sets are null until they
// are needed.
G_LOCK_DEFINE_STATIC(unusual_ends);
// Replaced in the table while somebody held them: their last holder frees them.
GHashTable* g_replaced_records = nullptr;
// In the table, but their last reference was an object that referred to them, and the table's own
// was dropped by no deletion: nobody is on the way to take them out, so they stay, unfindable,
// until they are replaced or their position is deleted.
GHashTable* g_left_in_table = nullptr;
// Deleted while somebody held them: in the table without the table's reference, until their last
// holder takes them out.
GHashTable* g_deleted_in_table = nullptr;

void add_to(GHashTable*& set, OBJECT_HEAD_S* object) {
    if (set == nullptr) {
        set = g_hash_table_new(g_direct_hash, g_direct_equal);
    }
    g_hash_table_add(set, object);
}

bool take_from(GHashTable* set, OBJECT_HEAD_S* object) {
    return set != nullptr && g_hash_table_remove(set, object);
}

bool is_in(GHashTable* set, OBJECT_HEAD_S* object) {
    return set != nullptr && g_hash_table_contains(set, object);
}

bool take_replaced(OBJECT_HEAD_S* object) {
    const mox::MutexGuard guard(G_LOCK_NAME(unusual_ends));
    return take_from(g_replaced_records, object);
}

// Takes a record whose references are gone out of the table that has it. Another record of its name
// is left alone.
void remove_unreferenced(OBJECT_HEAD_S* object) {
    const mox::TableChangeGuard guard;
    if (take_replaced(object)) {
        _free_object_head(object);
    } else if (g_local_object_hashtable != nullptr && object->object_name != nullptr &&
               g_hash_table_lookup(g_local_object_hashtable, object->object_name) == object) {
        g_hash_table_remove(g_local_object_hashtable, object->object_name);
    }
}

// Drops a reference without taking the record out of a table that still counts on it. Returns
// whether the record is the caller's to end.
bool drop_in_place(OBJECT_HEAD_S* object) {
    const mox::MutexGuard guard(G_LOCK_NAME(unusual_ends));
    if (g_atomic_int_add(&object->ref_count, -1) != 1) {
        return false;
    }
    if (is_in(g_replaced_records, object) || is_in(g_deleted_in_table, object)) {
        return true;
    }
    add_to(g_left_in_table, object);
    return false;
}

// Lets a record go that has just been replaced. Returns whether nobody is left to free it.
bool let_go(OBJECT_HEAD_S* object) {
    const mox::MutexGuard guard(G_LOCK_NAME(unusual_ends));
    if (take_from(g_deleted_in_table, object)) {
        add_to(g_replaced_records, object);
        return false;
    }
    const gint count = g_atomic_int_get(&object->ref_count);
    if (count == 1 || (count < 1 && take_from(g_left_in_table, object))) {
        return true;
    }
    add_to(g_replaced_records, object);
    // The table's own reference goes. Whoever drops the last one, here or in a thread that already
    // waits for the table's mutex, frees the record.
    return count > 1 && g_atomic_int_add(&object->ref_count, -1) == 1 &&
           take_from(g_replaced_records, object);
}

// The pool side of a record's end, in the owner.
void free_owner_side(OBJECT_HEAD_S* object) {
    shm_free(object->ref_bitmap);
    object->ref_bitmap = nullptr;
    if (object->refered_object != nullptr) {
        mox::drop_refered(*object);
    } else {
        _free_object_resource(object);
    }
    shm_free(object->mutex_obj_name);
    object->mutex_obj_name = nullptr;
}

}  // namespace

void _object_unref(OBJECT_HEAD_S* object_head) {
    if (object_head == nullptr || g_atomic_int_get(&object_head->ref_count) < 1) {
        return;
    }
    if (g_atomic_int_add(&object_head->ref_count, -1) == 1) {
        remove_unreferenced(object_head);
    }
}

void _free_object_head(gpointer object_head) {
    auto* object = static_cast<OBJECT_HEAD_S*>(object_head);
    if (object == nullptr) {
        return;
    }
    pub_debug_print(MX_DBG_DETAIL, "::::free object head %p %s, refcnt=%d.::::\n", object_head,
                    object->object_name, g_atomic_int_get(&object->ref_count));
    {
        const mox::MutexGuard guard(G_LOCK_NAME(unusual_ends));
        take_from(g_left_in_table, object);
        take_from(g_deleted_in_table, object);
    }
    lom_clear_reference_bitmap(object->ref_bitmap, g_bitmap_id);
    if (shm_is_owner()) {
        free_owner_side(object);
    } else if (object->property_hash != nullptr) {
        g_hash_table_unref(object->property_hash);
    }
    if (object->user_data != nullptr && object->destroy_func != nullptr) {
        object->destroy_func(object->user_data);
    }
    g_free(object);
}

void _free_object_resource(OBJECT_HEAD_S* object_head) {
    if (object_head->refered_object != nullptr || !shm_is_owner()) {
        return;
    }
    if (object_head->property_hash != nullptr) {
        g_hash_table_destroy(object_head->property_hash);
        object_head->property_hash = nullptr;
    }
    for (SERIALISED_PROPERTY_S* property = object_head->property_entry; property != nullptr;
         property = property->next_ptr) {
        if (property->data != nullptr && property->data != property->data_hold) {
            shm_free(property->data);
        }
        property->data = nullptr;
        shm_free(property->accessor);
        property->accessor = nullptr;
    }
    shm_free(object_head->property_entry);
    object_head->property_entry = nullptr;
    _free_object_namelist(object_head->name_list);
    object_head->name_list = nullptr;
    if (object_head->mutex_obj_name == nullptr) {
        g_sem_free_func(object_head->sem_index, object_head->sem_member);
    }
}

void _free_object_namelist(CLASS_OBJECT_LIST_S* list) {
    if (list == nullptr) {
        return;
    }
    _free_object_namelist(list->next);
    shm_free(list->class_name);
    shm_free(list->object_name);
    shm_free(list);
}

namespace mox {

void drop_refered(OBJECT_HEAD_S& object) {
    OBJECT_HEAD_S* refered = object.refered_object;
    object.refered_object = nullptr;
    if (refered != nullptr && drop_in_place(refered)) {
        remove_unreferenced(refered);
    }
}

void retire_replaced(OBJECT_HEAD_S* object_head) {
    if (let_go(object_head)) {
        _free_object_head(object_head);
    }
}

bool drop_table_reference(OBJECT_HEAD_S* object_head) {
    const MutexGuard guard(G_LOCK_NAME(unusual_ends));
    if (is_in(g_left_in_table, object_head)) {
        return true;
    }
    if (is_in(g_deleted_in_table, object_head) || g_atomic_int_get(&object_head->ref_count) < 1) {
        return false;
    }
    add_to(g_deleted_in_table, object_head);
    return g_atomic_int_add(&object_head->ref_count, -1) == 1;
}

bool claim_table_reference(OBJECT_HEAD_S* object_head) {
    const MutexGuard guard(G_LOCK_NAME(unusual_ends));
    if (take_from(g_left_in_table, object_head)) {
        g_atomic_int_set(&object_head->ref_count, 1);
        return true;
    }
    if (!is_in(g_deleted_in_table, object_head)) {
        return g_atomic_int_get(&object_head->ref_count) > 0;
    }
    return take_reference(object_head) && take_from(g_deleted_in_table, object_head);
}

}  // namespace mox
