// The state word of a property and the few record fields that are read without a lock. The word is
// changed under the object's semaphore; every access is atomic all the same, because reads decide
// their source by it before they lock.
#ifndef MOX_LOM_PROPERTY_STATE_HPP
#define MOX_LOM_PROPERTY_STATE_HPP

#include <lom/object.h>

#include "base/published.hpp"

namespace mox {

enum StateBit : guint32 {
    kModified = 1U << 0,
    kStaticSaved = 1U << 1,
    kOverride = 1U << 2,
    kSynced = 1U << 3,
    kAccessRead = 1U << 4,
    kAccessWrite = 1U << 5,
    kAccessSync = 1U << 6,
    kHalfWritten = PROPERTY_STATE_HALF_WRITTEN  // see stored_bytes.hpp
};

inline bool has_state(const SERIALISED_PROPERTY_S& property, guint32 bits) {
    return (read_published(property.state.all) & bits) == bits;
}

inline void set_state(SERIALISED_PROPERTY_S& property, guint32 bits) {
    std::atomic_ref<guint32>(property.state.all).fetch_or(bits, std::memory_order_relaxed);
}

inline void clear_state(SERIALISED_PROPERTY_S& property, guint32 bits) {
    std::atomic_ref<guint32>(property.state.all).fetch_and(~bits, std::memory_order_relaxed);
}

// The word as it is to be kept: without what only says that a value is being put in place.
inline guint32 lasting_state(const SERIALISED_PROPERTY_S& property) {
    return read_published(property.state.all) & ~guint32{kHalfWritten};
}

inline bool is_writable(const OBJECT_HEAD_S& object) {
    return read_published(object.capability) == OBJECT_READ_WRITE;
}

// A string property marked as naming another object's property.
inline bool is_reference(const SERIALISED_PROPERTY_S& property) {
    return read_published(property.type[0]) == 's' &&
           read_published(property.type[3]) == PUB_REFERENCE_MARKER;
}

inline bool has_accessor(const SERIALISED_PROPERTY_S& property) {
    return property.accessor != nullptr && property.accessor[0] != '\0';
}

// This process's entry of a property, or null without a table, a name or an entry. For the moment:
// a record that becomes a reference loses its table.
inline LOCAL_PROPERTY_S* find_entry(const OBJECT_HEAD_S& object, const gchar* name) {
    return name == nullptr || object.property_hash == nullptr
               ? nullptr
               : static_cast<LOCAL_PROPERTY_S*>(g_hash_table_lookup(object.property_hash, name));
}

// Finds a property by name in the object's table, as the functions that tell the failures apart do.
// Returns 0; MOX_ERR_PROPERTY_NOT_FOUND without a table, a name or an entry; MOX_ERR_INTERNAL for
// an entry without record.
inline gint32 find_property(const OBJECT_HEAD_S& object, const gchar* name,
                            SERIALISED_PROPERTY_S** property) {
    const LOCAL_PROPERTY_S* local = find_entry(object, name);
    if (local == nullptr) {
        return MOX_ERR_PROPERTY_NOT_FOUND;
    }
    *property = local->property_ptr;
    return *property == nullptr ? MOX_ERR_INTERNAL : MOX_OK;
}

}  // namespace mox

#endif
