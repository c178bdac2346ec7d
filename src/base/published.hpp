// Fields of records that several threads or processes touch without a lock: plain integers and
// pointers in the records, always accessed through these.
#ifndef MOX_BASE_PUBLISHED_HPP
#define MOX_BASE_PUBLISHED_HPP

#include <atomic>

namespace mox {

// Reads a field that a writer publishes last: what was written before it is seen too.
template <typename T>
T read_published(const T& field) {
    return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_acquire);
}

// Stores a field after everything that its readers then rely on.
template <typename T>
void publish(T& field, T value) {
    std::atomic_ref<T>(field).store(value, std::memory_order_release);
}

}  // namespace mox

#endif
