// Replacing a stored value in place, by the owner, which alone can enlarge a property's block. The
// semaphore is held over the exchange of the block, so no reader sees a freed one.
#include <lom/object.h>
#include <pub.h>
#include <shmem.h>

#include "base/bounded_copy.hpp"
#include "lom/object_ref.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/stored_bytes.hpp"

namespace {

// Stores a value under the object's semaphore.
gint32 store_resized(const OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property,
                     const gchar* type, guint32 size, gconstpointer data) {
    const mox::SemaphoreGuard semaphore(object);
    if (!semaphore) {
        return MOX_ERR_SEMAPHORE;
    }
    gpointer block = nullptr;
    if (pub_str_type_check(type) == GVARIANT_DYNAMIC && property.capacity < size) {
        block = shm_alloc0(size);
        if (block == nullptr) {
            return MOX_ERR_INTERNAL;  // the old value stays whole
        }
    }
    const mox::HalfWrittenMark mark(property);
    if (block != nullptr) {
        gpointer old = property.data;
        property.data = block;
        mox::publish(property.capacity, gsize{size});  // writers compare with it before they lock
        shm_free(old);
    }
    mox::publish(property.size, gsize{size});  // live reads look at it before they lock
    mox::set_state(property, mox::kSynced);
    MOX_LOG_COPY(MOX_COPY_FAILED_SPACED, "lom",
                 mox::copy_what_fits(property.data, property.capacity, data, size, size));
    return MOX_OK;
}

}  // namespace

gint32 lom_realloc_property(const gchar* object_name, const gchar* property_name, const gchar* type,
                            guint32 size, gconstpointer data) {
    if (!shm_is_owner()) {
        return MOX_ERR_NOT_PERMITTED;
    }
    if (object_name == nullptr || property_name == nullptr || type == nullptr || data == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(object_name);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    SERIALISED_PROPERTY_S* property = nullptr;
    if (const gint32 result = mox::find_property(*object, property_name, &property);
        result != MOX_OK) {
        return result;
    }
    if (type[0] != property->type[0]) {
        pub_debug_print(MX_DBG_ERR, "modify property %s.%s, parameter mismatch(%s<->%s).\n",
                        object_name, property_name, type, property->type);
        return MOX_ERR_TYPE_MISMATCH;
    }
    return store_resized(*object, *property, type, size, data);
}
