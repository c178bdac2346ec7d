// Putting bytes into a property so that a process that dies at it leaves the old value, the new one
// or a mark, never a mixture that is taken for a value. Everything here is called with the object's
// semaphore held, so whoever sees the mark under it sees what a dead writer left: reads fail then,
// until the next value is stored.
//
// A process is killed between two instructions and what it stored before stays, so the order that
// counts is that of the program: only the compiler is kept from changing it.
#ifndef MOX_LOM_STORED_BYTES_HPP
#define MOX_LOM_STORED_BYTES_HPP

#include <lom/object.h>

#include <atomic>
#include <cstdint>
#include <cstring>

#include "base/published.hpp"
#include "lom/property_state.hpp"

namespace mox {

inline bool is_half_written(const SERIALISED_PROPERTY_S& property) {
    return has_state(property, kHalfWritten);
}

// The mark for the length of a scope in which bytes, size and type change in several steps.
class HalfWrittenMark {
public:
    explicit HalfWrittenMark(SERIALISED_PROPERTY_S& property) : property_(property) {
        set_state(property_, kHalfWritten);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    ~HalfWrittenMark() {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        clear_state(property_, kHalfWritten);
    }
    HalfWrittenMark(const HalfWrittenMark&) = delete;
    HalfWrittenMark& operator=(const HalfWrittenMark&) = delete;

private:
    SERIALISED_PROPERTY_S& property_;
};

// Stores a number with one instruction, where it fits one and lies so. False: nothing was stored.
template <typename Number>
bool store_number(gpointer dest, gconstpointer bytes) {
    if (reinterpret_cast<std::uintptr_t>(dest) % sizeof(Number) != 0) {
        return false;
    }
    Number number;
    std::memcpy(&number, bytes, sizeof(number));
    publish(*static_cast<Number*>(dest), number);
    return true;
}

inline bool store_at_once(const SERIALISED_PROPERTY_S& property, gconstpointer bytes, gsize size) {
    if (size != property.size || is_half_written(property)) {
        return false;
    }
    switch (size) {
        case sizeof(guint8):
            return store_number<guint8>(property.data, bytes);
        case sizeof(guint16):
            return store_number<guint16>(property.data, bytes);
        case sizeof(guint32):
            return store_number<guint32>(property.data, bytes);
        case sizeof(guint64):
            return sizeof(guint64) == sizeof(gsize) && store_number<guint64>(property.data, bytes);
        default:
            return false;
    }
}

// Stores a whole value that fits the property's room.
inline void store_bytes(SERIALISED_PROPERTY_S& property, gconstpointer bytes, gsize size) {
    if (store_at_once(property, bytes, size)) {
        return;
    }
    const HalfWrittenMark mark(property);
    if (size > 0) {
        std::memcpy(property.data, bytes, size);
    }
    publish(property.size, size);  // live reads look at it before they lock
}

}  // namespace mox

#endif
