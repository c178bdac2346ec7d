// References between objects: one object gives up its properties and becomes another name for a
// second one, whose name list gains a node, so that the second's events are sent under both names.
// The table's mutex is held over the switch: no traversal sees a half-switched record.
#include <lom/sharing.h>
#include <pub.h>
#include <shmem.h>

#include "base/mutex_guard.hpp"
#include "base/published.hpp"
#include "lom/object_ref.hpp"
#include "lom/table_lock.hpp"

namespace {

constexpr gsize kNameLength = PUB_NAME_LENGTH;

// True when the switch would leave records that point at freed memory: onto itself, along a
// reference that leads back, or while other names already stand for the object.
bool leads_back(const OBJECT_HEAD_S& object, const OBJECT_HEAD_S& refered) {
    for (const OBJECT_HEAD_S* record = &refered; record != nullptr;
         record = record->refered_object) {
        if (record == &object) {
            return true;
        }
    }
    return object.refered_object == nullptr && object.name_list != nullptr &&
           object.name_list->next != nullptr;
}

// A node with pool copies of the object's names; null when the pool has no room for all of it.
CLASS_OBJECT_LIST_S* make_name_node(const OBJECT_HEAD_S& object) {
    auto* node = static_cast<CLASS_OBJECT_LIST_S*>(shm_alloc0(sizeof(CLASS_OBJECT_LIST_S)));
    if (node == nullptr) {
        return nullptr;
    }
    node->class_name = shm_strdup(object.class_name, kNameLength);
    node->object_name = shm_strdup(object.object_name, kNameLength);
    if (node->class_name == nullptr || node->object_name == nullptr) {
        _free_object_namelist(node);
        return nullptr;
    }
    return node;
}

// Lets the object stand for the referred one. sem_index and sem_member stay as they were: only the
// semaphore set is taken over.
void switch_record(OBJECT_HEAD_S& object, OBJECT_HEAD_S& refered,
                   const CLASS_OBJECT_LIST_S& names) {
    _free_object_resource(&object);
    mox::drop_refered(object);  // of an earlier switch
    if (g_atomic_int_get(&refered.ref_count) > 0) {
        g_atomic_int_inc(&refered.ref_count);
        object.refered_object = &refered;
    }
    object.module = refered.module;
    object.property_count = refered.property_count;
    object.semid = refered.semid;
    object.property_entry = refered.property_entry;
    object.property_hash = refered.property_hash;
    object.name_list = refered.name_list;
    mox::publish(object.capability, OBJECT_READ_ONLY);
    object.class_name = names.class_name;
    object.object_name = names.object_name;
}

}  // namespace

gint32 lom_set_reference(const gchar* object_name, const gchar* refered_object_name) {
    const mox::ObjectRef object = mox::find_local(object_name);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    const mox::ObjectRef refered = mox::find_local(refered_object_name);
    if (!refered) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    if (refered->name_list == nullptr) {
        pub_debug_print(MX_DBG_ERR, "name list of %s if null, running error.\n",
                        refered->object_name);
        return MOX_ERR_INTERNAL;
    }
    const mox::TableChangeGuard guard;
    // A longer name, such as a collection's, would be cut and its record not found by it again.
    const bool is_too_long = strnlen(object->object_name, kNameLength) == kNameLength;
    if (is_too_long || leads_back(*object, *refered)) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    CLASS_OBJECT_LIST_S* node = make_name_node(*object);
    if (node == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    CLASS_OBJECT_LIST_S* tail = refered->name_list;
    while (tail->next != nullptr) {
        tail = tail->next;
    }
    mox::publish(tail->next, node);
    switch_record(*object, *refered, *node);
    return MOX_OK;
}
