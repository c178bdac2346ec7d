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

namespace {

// Records that were replaced in the table while somebody held them; their last holder frees them.
// Guarded by g_obj_hash_mutex; null until it happens.
GHashTable* g_replaced_records = nullptr;

// Takes a record whose references are gone out of the table that has it. Another record of its name
// is left alone.
void remove_unreferenced(OBJECT_HEAD_S* object) {
    const mox::RecursiveGuard guard(g_obj_hash_mutex);
    if (g_local_object_hashtable != nullptr && object->object_name != nullptr &&
        g_hash_table_lookup(g_local_object_hashtable, object->object_name) == object) {
        g_hash_table_remove(g_local_object_hashtable, object->object_name);
    } else if (g_replaced_records != nullptr && g_hash_table_remove(g_replaced_records, object)) {
        _free_object_head(object);
    }
}

// The pool side of a record's end, in the owner.
void free_owner_side(OBJECT_HEAD_S* object) {
    shm_free(object->ref_bitmap);
    object->ref_bitmap = nullptr;
    if (object->refered_object != nullptr) {
        g_atomic_int_add(&object->refered_object->ref_count, -1);
        object->refered_object = nullptr;
        return;
    }
    _free_object_resource(object);
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

void retire_replaced(OBJECT_HEAD_S* object_head) {
    if (g_atomic_int_get(&object_head->ref_count) > 1) {
        if (g_replaced_records == nullptr) {
            g_replaced_records = g_hash_table_new(g_direct_hash, g_direct_equal);
        }
        g_hash_table_add(g_replaced_records, object_head);
        if (g_atomic_int_add(&object_head->ref_count, -1) > 1) {
            return;
        }
        g_hash_table_remove(g_replaced_records, object_head);
    }
    _free_object_head(object_head);
}

}  // namespace mox
