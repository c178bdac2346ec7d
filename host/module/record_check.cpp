// Done once for each copy that is taken, so that no read has to. Numbers are read before they are
// taken for enumerations or pointers: any bit pattern may stand there.
#include "module/record_check.hpp"

#include <lom/object.h>

#include <atomic>
#include <cstddef>
#include <cstring>

namespace mox::host {
namespace {

constexpr gsize longest_text = 256;  // collections' names are longer than a name field
constexpr gsize most_names = 65536;  // of an object and of what refers to it

template <typename T>
bool is_aligned(const T* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer) % alignof(T) == 0;
}

template <typename T>
bool is_record(const T* pointer, const PoolRange& pool, gsize count = 1) {
    return is_aligned(pointer) && count <= pool.bytes / sizeof(T) &&
           pool.holds(pointer, count * sizeof(T));
}

bool is_text(const gchar* text, const PoolRange& pool) {
    if (!pool.holds(text, 1)) {
        return false;
    }
    const std::uint64_t behind =
        pool.begin + pool.bytes - std::uint64_t{reinterpret_cast<std::uintptr_t>(text)};
    const auto room = behind < longest_text ? static_cast<gsize>(behind) : longest_text;
    return std::memchr(text, 0, room) != nullptr;
}

bool is_text_or_none(const gchar* text, const PoolRange& pool) {
    return text == nullptr || is_text(text, pool);
}

template <typename T>
T read_now(const T& field) {
    return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_acquire);
}

// An enumeration as the number that stands there.
guint32 number_at(gconstpointer bytes, gsize offset) {
    guint32 number = 0;
    std::memcpy(&number, static_cast<const guint8*>(bytes) + offset, sizeof number);
    return number;
}

const char* state_fault(gconstpointer bytes) {
    if (number_at(bytes, offsetof(OBJECT_HEAD_S, type)) > OBJECT_TYPE_PHYSICAL) {
        return "its kind is none";
    }
    if (number_at(bytes, offsetof(OBJECT_HEAD_S, status)) != OBJECT_NORMAL) {
        return "it is not complete";
    }
    return number_at(bytes, offsetof(OBJECT_HEAD_S, capability)) > OBJECT_READ_WRITE
               ? "its capability is none"
               : nullptr;
}

// A larger block is put in place before its capacity is told, so the capacity is read first.
const char* value_fault(const SERIALISED_PROPERTY_S& property, const PoolRange& pool) {
    const gsize size = read_now(property.size);
    const gsize capacity = read_now(property.capacity);
    gconstpointer const data = read_now(property.data);
    if (size > pool.bytes) {
        return "a value is larger than the pool";
    }
    if (data == nullptr) {
        return capacity == 0 ? nullptr : "a value has room but no place";
    }
    return pool.holds(data, capacity) ? nullptr : "a value leads out of the pool";
}

const char* properties_fault(const OBJECT_HEAD_S& record, const PoolRange& pool) {
    if (record.property_count == 0) {
        return record.property_entry == nullptr ? nullptr : "it has properties but says none";
    }
    if (!is_record(record.property_entry, pool, record.property_count)) {
        return "its properties lead out of the pool";
    }
    const SERIALISED_PROPERTY_S* property = record.property_entry;
    for (guint32 index = 0; index < record.property_count; ++index) {
        if (!is_record(property, pool)) {
            return "its list of properties leads out of the pool or ends early";
        }
        if (std::memchr(property->name, 0, sizeof property->name) == nullptr) {
            return "a property has an endless name";
        }
        if (!is_text_or_none(property->accessor, pool)) {
            return "a property's accessor leads out of the pool";
        }
        if (const char* const fault = value_fault(*property, pool)) {
            return fault;
        }
        property = property->next_ptr;
    }
    return property == nullptr ? nullptr : "its list of properties is too long";
}

// Names are put at the end of the list while it is in use.
const char* names_fault(const OBJECT_HEAD_S& record, const PoolRange& pool) {
    const CLASS_OBJECT_LIST_S* name = record.name_list;
    if (name == nullptr) {
        return "it has no names";
    }
    for (gsize count = 0; name != nullptr; ++count) {
        if (!is_record(name, pool) || count == most_names) {
            return "its list of names leads out of the pool or has no end";
        }
        if (!is_text(name->object_name, pool) || !is_text(name->class_name, pool)) {
            return "one of its names leads out of the pool or has no end";
        }
        name = read_now(name->next);
    }
    return nullptr;
}

}  // namespace

bool is_bitmap(const guint32* bitmap, const PoolRange& pool) {
    return is_record(bitmap, pool, LOM_REF_BITMAP_WORDS);
}

const char* record_fault(gconstpointer bytes, const PoolRange& pool) {
    if (const char* const fault = state_fault(bytes)) {
        return fault;
    }
    OBJECT_HEAD_S record;
    std::memcpy(&record, bytes, sizeof record);
    if (!is_text(record.object_name, pool) || !is_text(record.class_name, pool) ||
        !is_text_or_none(record.mutex_obj_name, pool)) {
        return "its name, its class or its mutex object leads out of the pool or has no end";
    }
    if (!is_bitmap(record.ref_bitmap, pool)) {
        return "its bitmap leads out of the pool";
    }
    if (const char* const fault = names_fault(record, pool)) {
        return fault;
    }
    return properties_fault(record, pool);
}

}  // namespace mox::host
