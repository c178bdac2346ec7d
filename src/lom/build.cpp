// Building an object: embryo, properties, accessors, then publication in this process's table. Only
// the pool's owner builds; a record under construction belongs to one thread until it is added.
#include "lom/build.hpp"

#include <lom/object.h>
#include <pub.h>
#include <shmem.h>

#include <algorithm>
#include <type_traits>

#include "base/bounded_copy.hpp"
#include "base/glib_ptr.hpp"
#include "lom/hooks.hpp"
#include "lom/object_ref.hpp"
#include "lom/object_table.hpp"
#include "lom/property_state.hpp"
#include "lom/release.hpp"

// Records are copied between processes by value: they must be nothing but their bytes.
static_assert(std::is_standard_layout_v<OBJECT_HEAD_S> &&
              std::is_trivially_copyable_v<OBJECT_HEAD_S>);
static_assert(std::is_standard_layout_v<SERIALISED_PROPERTY_S> &&
              std::is_trivially_copyable_v<SERIALISED_PROPERTY_S>);
static_assert(sizeof(PROPERTY_STATE_S) == 4 && sizeof(TLV_S) == sizeof(CONST_TLV_S));
static_assert(sizeof(void*) != 4 ||
              (sizeof(OBJECT_HEAD_S) == 80 && sizeof(SERIALISED_PROPERTY_S) == 72));

namespace {

constexpr gsize kNameLength = PUB_NAME_LENGTH;
constexpr gsize kBitmapSize = LOM_REF_BITMAP_WORDS * sizeof(guint32);

OBJECT_HEAD_S* record_of(OBJECT_PTR obj_ptr) {
    return static_cast<OBJECT_HEAD_S*>(obj_ptr);
}

// The property at an index, or null.
SERIALISED_PROPERTY_S* property_at(OBJECT_PTR obj_ptr, guint32 property_index) {
    const OBJECT_HEAD_S* object = record_of(obj_ptr);
    if (object == nullptr || object->property_entry == nullptr ||
        property_index >= object->property_count) {
        return nullptr;
    }
    return object->property_entry + property_index;
}

// Makes the chained array of properties; false when the pool has no room for it.
bool make_properties(OBJECT_HEAD_S* object, guint32 property_count) {
    constexpr gsize kMost = G_MAXSIZE / sizeof(SERIALISED_PROPERTY_S);
    auto* properties = property_count > kMost
                           ? nullptr
                           : static_cast<SERIALISED_PROPERTY_S*>(
                                 shm_alloc0(property_count * sizeof(SERIALISED_PROPERTY_S)));
    if (properties == nullptr) {
        return false;
    }
    for (guint32 index = 0; index + 1 < property_count; ++index) {
        properties[index].next_ptr = properties + index + 1;
    }
    object->property_count = property_count;
    object->property_entry = properties;
    return true;
}

void apply_mode(SERIALISED_PROPERTY_S& property, const gchar* mode) {
    if (g_str_equal(mode, "r")) {
        property.state.bit.acc_w = 0;
    } else if (g_str_equal(mode, "w")) {
        property.state.bit.acc_r = 0;
    } else if (g_str_equal(mode, "r-")) {
        property.state.bit.acc_w = 0;
        property.state.bit.acc_sync = 0;
        property.state.bit.synced = 1;
    }
}

// Places a property's first value: values of varying size in a pool block, others in the record
// itself.
void place_value(SERIALISED_PROPERTY_S& property, const CONST_TLV_S& tlv) {
    if (pub_str_type_check(property.type) == GVARIANT_DYNAMIC) {
        property.capacity = tlv.size;
        property.data = shm_memdup(tlv.data, tlv.size);
        if (property.data == nullptr) {
            property.capacity = 0;  // nothing may be stored where there is no block
            if (tlv.size > 0) {
                // Nor may the missing bytes be read as a value of the type: zeros are none of most.
                mox::set_state(property, mox::kHalfWritten);
            }
        }
        return;
    }
    property.data = property.data_hold;
    property.capacity = LOM_DATA_HOLD_SIZE;
    const gsize held = std::min<gsize>(tlv.size, LOM_DATA_HOLD_SIZE);
    MOX_LOG_COPY(MOX_COPY_FAILED_SPACED, "lom",
                 memmove_s(property.data_hold, LOM_DATA_HOLD_SIZE, tlv.data, held));
}

// Takes back an embryo whose names the pool could not hold; its semaphore exists already.
void discard_embryo(OBJECT_HEAD_S* object) {
    g_sem_free_func(object->sem_index, object->sem_member);
    shm_free(object->mutex_obj_name);
    _free_object_namelist(object->name_list);
    shm_free(object->property_entry);
    shm_free(object->ref_bitmap);
    g_free(object);
}

}  // namespace

OBJECT_PTR lom_alloc_space(guint32 property_count) {
    if (!shm_is_owner()) {
        return nullptr;
    }
    mox::GPtr<OBJECT_HEAD_S> object(g_new0(OBJECT_HEAD_S, 1));
    object->type = OBJECT_TYPE_LOGICAL;
    object->ref_count = 1;
    object->status = OBJECT_MXD_READY;
    object->capability = OBJECT_READ_ONLY;
    object->ref_bitmap = static_cast<guint32*>(shm_alloc0(kBitmapSize));
    if (object->ref_bitmap == nullptr) {
        return nullptr;
    }
    // On the failures below the bitmap stays with the pool: established, and of 16 bytes in an
    // exhausted pool.
    object->name_list = static_cast<CLASS_OBJECT_LIST_S*>(shm_alloc0(sizeof(CLASS_OBJECT_LIST_S)));
    if (object->name_list == nullptr) {
        return nullptr;
    }
    if (property_count != 0 && !make_properties(object.get(), property_count)) {
        shm_free(object->name_list);
        return nullptr;
    }
    return object.release();
}

void _embryo_init_object_name(OBJECT_PTR obj_ptr, const gchar* object_name) {
    OBJECT_HEAD_S* object = record_of(obj_ptr);
    object->name_list->object_name = shm_strdup(object_name, kNameLength);
    object->object_name = object->name_list->object_name;
    g_sem_create_func(&object->sem_index, &object->semid, &object->sem_member);
}

OBJECT_PTR lom_create_object_embryo(guint32 property_count, const gchar* object_name,
                                    const gchar* class_name, const gchar* mutex_obj_name,
                                    const gchar* object_type, guint32 position) {
    if (object_name == nullptr || class_name == nullptr || mutex_obj_name == nullptr ||
        object_type == nullptr) {
        return nullptr;
    }
    OBJECT_HEAD_S* object = record_of(lom_alloc_space(property_count));
    if (object == nullptr) {
        return nullptr;
    }
    _embryo_init_object_name(object, object_name);
    object->name_list->class_name = shm_strdup(class_name, kNameLength);
    object->class_name = object->name_list->class_name;
    const bool is_sharing = mutex_obj_name[0] != '\0';
    if (is_sharing) {
        object->mutex_obj_name = shm_strdup(mutex_obj_name, kNameLength);
    }
    if (object->object_name == nullptr || object->class_name == nullptr ||
        (is_sharing && object->mutex_obj_name == nullptr)) {
        discard_embryo(object);
        return nullptr;
    }
    object->position = position;
    object->type =
        g_str_equal(object_type, "Physical") ? OBJECT_TYPE_PHYSICAL : OBJECT_TYPE_LOGICAL;
    return object;
}

void lom_init_property(OBJECT_PTR obj_ptr, guint32 property_index, const gchar* property_name,
                       const CONST_TLV_S* tlv, const gchar* mode) {
    SERIALISED_PROPERTY_S* property = property_at(obj_ptr, property_index);
    if (property == nullptr || property_name == nullptr || mode == nullptr || tlv == nullptr) {
        return;
    }
    g_strlcpy(property->name, property_name, sizeof(property->name));
    MOX_LOG_COPY(MOX_COPY_FAILED_EARLY_STOP, "lom",
                 memmove_s(property->type, sizeof(property->type), tlv->type, PUB_TYPE_LENGTH));
    property->size = tlv->size;
    property->state.bit.acc_r = 1;
    property->state.bit.acc_w = 1;
    property->state.bit.acc_sync = 1;
    apply_mode(*property, mode);
    place_value(*property, *tlv);
}

void lom_init_accessor(OBJECT_PTR obj_ptr, guint32 property_index, const gchar* accessor,
                       guint32 size) {
    SERIALISED_PROPERTY_S* property = property_at(obj_ptr, property_index);
    if (property != nullptr && accessor != nullptr && size != 0) {
        property->accessor = shm_strdup(accessor, kNameLength);
    }
}

OBJ_HANDLE lom_add_object(OBJECT_PTR obj_ptr) {
    OBJECT_HEAD_S* object = record_of(obj_ptr);
    if (object == nullptr || object->object_name == nullptr) {
        return 0;
    }
    const OBJ_HANDLE handle = lom_name_to_handle(object->object_name);
    _add_object_ptr(object, object->object_name);
    return handle;
}

void lom_ready_object(OBJECT_PTR obj_ptr) {
    if (OBJECT_HEAD_S* object = record_of(obj_ptr)) {
        mox::publish(object->status, OBJECT_NORMAL);
    }
}

OBJ_HANDLE lom_create_object(guint32 size, gconstpointer data) {
    if (size != sizeof(OBJECT_HEAD_S) || data == nullptr) {
        return 0;
    }
    mox::GPtr<OBJECT_HEAD_S> object(g_new0(OBJECT_HEAD_S, 1));
    MOX_LOG_COPY(MOX_COPY_FAILED_SPACED, "lom",
                 memmove_s(object.get(), sizeof(OBJECT_HEAD_S), data, size));
    return object->object_name == nullptr ? 0 : lom_add_object(object.release());
}

void lom_set_writable(OBJ_HANDLE obj_handle, OBJECT_CAPABILITY capability) {
    if (const mox::ObjectRef object = mox::find_local(obj_handle)) {
        mox::publish(object->capability, capability);
    }
}
