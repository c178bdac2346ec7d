// Several properties of one object as one consistent set. The stored values are copied under a
// single hold of the semaphore, all into one block of memory that the values then share; the live
// sources of each are asked after it, so a reference to the same object does not wait for its own
// reader. Nothing is written back, announced or remembered.
#include <lom/property.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include "lom/formula_input.hpp"
#include "lom/object_ref.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/stored_bytes.hpp"

namespace {

constexpr gsize kAlignment = 8;  // of the bytes of any value

// The head of a block; the bytes follow it. The block goes with its last holder: the snapshot, or a
// value of the caller's.
struct alignas(kAlignment) SharedBytes {
    gint holders;

    guint8* bytes() { return reinterpret_cast<guint8*>(this + 1); }
};

void drop_bytes(gpointer holder) {
    auto* shared = static_cast<SharedBytes*>(holder);
    if (g_atomic_int_dec_and_test(&shared->holders)) {
        g_free(shared);
    }
}

struct DropBytes {
    void operator()(SharedBytes* shared) const { drop_bytes(shared); }
};

// Copies of the records, whose data lies in the block.
struct Snapshot {
    std::vector<SERIALISED_PROPERTY_S> records;
    std::unique_ptr<SharedBytes, DropBytes> shared;
};

struct FreeValues {
    void operator()(GSList* list) const {
        g_slist_free_full(list,
                          [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
    }
};
using ValuesPtr = std::unique_ptr<GSList, FreeValues>;

gsize aligned(gsize size) {
    return (size + kAlignment - 1) & ~(kAlignment - 1);
}

// Whether the sizes add up to what a block can have: its places are told apart by signed distances.
bool add_size(gsize& total, gsize size) {
    constexpr gsize kLargest = G_MAXSSIZE - kAlignment;
    if (size > kLargest || total > kLargest - size) {
        return false;
    }
    total += aligned(size);
    return true;
}

// Copies the bytes of the records. False when they are more than there can be, or is memory for.
bool copy_bytes(Snapshot& snapshot) {
    gsize total = sizeof(SharedBytes);
    for (const SERIALISED_PROPERTY_S& record : snapshot.records) {
        if (record.size > mox::kLargestValue || !add_size(total, record.size)) {
            return false;
        }
    }
    auto* shared = static_cast<SharedBytes*>(g_try_malloc(total));
    if (shared == nullptr) {
        return false;
    }
    shared->holders = 1;
    snapshot.shared.reset(shared);
    guint8* next = shared->bytes();
    for (SERIALISED_PROPERTY_S& record : snapshot.records) {
        mox::copy_stored_into(record, next, record.size);
        record.data = next;
        record.capacity = record.size;
        next += aligned(record.size);
    }
    return true;
}

// A record by itself, with its bytes still where they lie. The state is read by itself: its marks
// of what is to be saved change without the object's semaphore.
SERIALISED_PROPERTY_S copy_of(const SERIALISED_PROPERTY_S& property) {
    SERIALISED_PROPERTY_S copy = {};
    std::copy(std::begin(property.name), std::end(property.name), copy.name);
    std::copy(std::begin(property.type), std::end(property.type), copy.type);
    copy.accessor = property.accessor;
    copy.state.all = mox::read_published(property.state.all);
    copy.size = property.size;
    copy.capacity = property.capacity;
    copy.data = property.data;
    return copy;
}

// The named records in the names' order.
gint32 take_snapshot(OBJECT_HEAD_S& object, GSList* names, Snapshot& snapshot) {
    snapshot.records.reserve(g_slist_length(names));
    const mox::SemaphoreGuard semaphore(object);
    if (!semaphore) {
        return MOX_ERR_SEMAPHORE;
    }
    for (; names != nullptr; names = names->next) {
        const SERIALISED_PROPERTY_S* property =
            _get_property_node(&object, static_cast<const gchar*>(names->data));
        if (property == nullptr) {
            return MOX_ERR_PROPERTY_NOT_FOUND;
        }
        snapshot.records.push_back(copy_of(*property));
    }
    return copy_bytes(snapshot) ? static_cast<gint32>(MOX_OK) : MOX_ERR_INTERNAL;
}

// Asks the live sources, which see overridden properties like any other here. FALSE: none took it.
bool read_live(OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property, TLV_S& tlv, gint32& result) {
    if (mox::is_reference(property)) {
        return _get_reference_property_data(&property, TRUE, &tlv, &result, FALSE) != FALSE;
    }
    mox::FormulaInputs inputs;
    gboolean inputs_changed = FALSE;
    return _get_expression_data(&object, &property, &tlv, &inputs, &result, &inputs_changed,
                                FALSE) ||
           _get_hardware_data(&object, &property, &tlv, &result, FALSE);
}

// A value over the bytes of a record where they lie, floating; null for a type that names none. No
// other thread knows the block before its values are the caller's.
GVariant* stored_value(const SERIALISED_PROPERTY_S& record, SharedBytes& shared) {
    ++shared.holders;
    return mox::value_held_by(record.type, record.data, record.size, drop_bytes, &shared);
}

// The value of one record, floating. Null stops the call with result, which is 0 when a formula
// yields no value.
GVariant* value_of(OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& record, SharedBytes& shared,
                   gint32& result) {
    TLV_S tlv = {};
    GVariant* value = nullptr;
    if (!read_live(object, record, tlv, result)) {
        if (mox::is_half_written(record)) {
            result = MOX_ERR_INTERNAL;
            return nullptr;
        }
        value = stored_value(record, shared);
    } else if (result == MOX_OK && tlv.type[0] != '\0') {
        value = mox::value_of_bytes(tlv.type, tlv.data, tlv.size);
    } else {
        g_free(tlv.data);
        return nullptr;
    }
    result = value == nullptr ? MOX_ERR_TYPE_NOT_SUPPORTED : MOX_OK;
    return value;
}

// The values of a snapshot in its order; null and the cause when one has none.
ValuesPtr read_values(OBJECT_HEAD_S& object, Snapshot& snapshot, gint32& result) {
    ValuesPtr values;
    for (SERIALISED_PROPERTY_S& record : snapshot.records) {
        result = MOX_OK;
        GVariant* value = value_of(object, record, *snapshot.shared, result);
        if (value == nullptr) {
            return nullptr;
        }
        values.reset(g_slist_prepend(values.release(), value));
    }
    return ValuesPtr(g_slist_reverse(values.release()));
}

}  // namespace

gint32 lom_multiget_property_value(OBJ_HANDLE object_handle, GSList* property_name_list,
                                   GSList** property_value_list) {
    if (object_handle == 0 || property_name_list == nullptr || property_value_list == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    *property_value_list = nullptr;
    const mox::ObjectRef object = mox::find_local(object_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    Snapshot snapshot;
    gint32 result = take_snapshot(*object, property_name_list, snapshot);
    if (result == MOX_OK) {
        *property_value_list = read_values(*object, snapshot, result).release();
    }
    return result;
}
