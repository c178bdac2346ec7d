// The lists of named values by which the driver library learns of physical objects. Stored bytes
// are copied under the object's semaphore, all of one object at once; references are followed and
// the driver library is called without it.
#include <lom/hardware.h>
#include <lom/property.h>
#include <moxplat/driver.h>
#include <pub.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/glib_ptr.hpp"
#include "lom/object_ref.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/stored_bytes.hpp"

namespace {

constexpr OBJ_HANDLE kEveryObject = -1;

void _free_has_property_list(gpointer list) {
    g_slist_free_full(static_cast<GSList*>(list), free_has_property);
}

// Puts one named value in front of the list. value: floating or full, nullable; passes on.
void prepend_value(GSList*& list, const gchar* name, GVariant* value) {
    if (value == nullptr) {
        return;
    }
    OBJ_PROPERTY_S* property = create_has_property(name, value);
    if (property == nullptr) {
        g_variant_unref(value);
        return;
    }
    list = g_slist_prepend(list, property);
}

// The values of an object's properties, in class order; null for references, for bytes that make no
// value or that a dead writer left, and for all when the semaphore cannot be had. A thread that
// holds it already reads its own bytes.
std::vector<GVariant*> stored_values(const OBJECT_HEAD_S& object) {
    std::vector<GVariant*> values;
    values.reserve(object.property_count);
    const mox::SemaphoreGuard semaphore(object);
    const bool is_readable = semaphore || semaphore.is_held_already();
    for (const SERIALISED_PROPERTY_S* property = object.property_entry; property != nullptr;
         property = property->next_ptr) {
        GVariant* value = nullptr;
        if (is_readable && !mox::is_reference(*property) && !mox::is_half_written(*property)) {
            const bool has_bytes =
                property->data != nullptr && property->size <= mox::kLargestValue;
            const gsize size = has_bytes ? std::min(property->size, property->capacity) : 0;
            value = mox::value_of_bytes(property->type, g_memdup2(property->data, size), size);
        }
        values.push_back(value);
    }
    return values;
}

GVariant* followed_value(OBJ_HANDLE object, const SERIALISED_PROPERTY_S& property) {
    GVariant* value = nullptr;
    lom_get_property_value(object, property.name, TRUE, &value, FALSE);
    return value;
}

// "Class.Object", each name cut at the length that records have.
gchar* key_of(const OBJECT_HEAD_S& object) {
    const gchar* class_name = object.class_name == nullptr ? "(null)" : object.class_name;
    const gsize class_length = strnlen(class_name, PUB_NAME_LENGTH);
    const gsize object_length = strnlen(object.object_name, PUB_NAME_LENGTH);
    auto* key = static_cast<gchar*>(g_malloc(class_length + object_length + 2));
    gchar* end = std::copy_n(class_name, class_length, key);
    *end++ = '.';
    end = std::copy_n(object.object_name, object_length, end);
    *end = '\0';
    return key;
}

// Adds one object's list to the table; logical objects have none. The list begins with the object's
// position.
void add_list(GHashTable* table, const OBJECT_HEAD_S& object) {
    if (object.type != OBJECT_TYPE_PHYSICAL) {
        return;
    }
    const OBJ_HANDLE handle = lom_name_to_handle(object.object_name);
    GSList* list = nullptr;
    const std::vector<GVariant*> values = stored_values(object);
    auto value = values.begin();
    for (const SERIALISED_PROPERTY_S* property = object.property_entry; property != nullptr;
         property = property->next_ptr, ++value) {
        prepend_value(list, property->name,
                      mox::is_reference(*property) ? followed_value(handle, *property) : *value);
    }
    prepend_value(list, "ObjName", g_variant_new_string(object.object_name));
    prepend_value(list, "SemId", g_variant_new_int32(object.semid));
    prepend_value(list, "SemMember", g_variant_new_int32(object.sem_member));
    prepend_value(list, "Position", g_variant_new_uint32(object.position));
    g_hash_table_insert(table, key_of(object), list);
}

void add_member([[maybe_unused]] gpointer key, gpointer value, gpointer user_data) {
    if (const mox::ObjectRef object = mox::find_local(GPOINTER_TO_INT(value))) {
        add_list(static_cast<GHashTable*>(user_data), *object);
    }
}

void add_record([[maybe_unused]] gpointer key, gpointer value, gpointer user_data) {
    if (const auto* object = static_cast<const OBJECT_HEAD_S*>(value)) {
        add_list(static_cast<GHashTable*>(user_data), *object);
    }
}

// One handing-over of a thread with those that it leads to: a chip whose property refers to a value
// behind another accessor has that accessor's family handed over on the way. Each object begins one
// at most, so objects that refer to each other do not begin again and again.
class HandingOver {
public:
    explicit HandingOver(OBJ_HANDLE object) : is_outermost_(begun_.empty()) {
        begun_.push_back(object);
    }
    ~HandingOver() {
        if (is_outermost_) {
            begun_.clear();
        }
    }
    HandingOver(const HandingOver&) = delete;
    HandingOver& operator=(const HandingOver&) = delete;

    static bool is_begun(OBJ_HANDLE object) {
        return std::find(begun_.begin(), begun_.end(), object) != begun_.end();
    }

private:
    static thread_local std::vector<OBJ_HANDLE> begun_;
    bool is_outermost_;
};

thread_local std::vector<OBJ_HANDLE> HandingOver::begun_;

}  // namespace

void lom_create_has_object(OBJ_HANDLE obj_handle) {
    if (obj_handle == 0 || HandingOver::is_begun(obj_handle)) {
        return;
    }
    const HandingOver begun(obj_handle);
    const mox::HashTablePtr table(
        g_hash_table_new_full(g_str_hash, g_str_equal, g_free, _free_has_property_list));
    if (obj_handle == kEveryObject) {
        _foreach_object_copy(add_record, table.get());
    } else {
        const mox::HashTablePtr family(g_hash_table_new(g_direct_hash, g_direct_equal));
        lom_family_to_hash(obj_handle, family.get());
        g_hash_table_foreach(family.get(), add_member, table.get());
    }
    if (g_hash_table_size(table.get()) > 0) {
        create_physical_object(table.get());
    }
}
