// Several properties of one object as one consistent set. The stored values are copied under a
// single hold of the semaphore; the live sources of each are asked after it, so a reference to the
// same object does not wait for its own reader. Nothing is written back, announced or remembered.
#include "lom/multiget.hpp"

#include <lom/property.h>

#include <cstring>
#include <memory>
#include <utility>

#include "base/bounded_copy.hpp"
#include "lom/object_ref.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"

namespace {

struct FreeSnapshot {
    void operator()(GSList* list) const { g_slist_free_full(list, _delete_temp_property_value); }
};
using SnapshotPtr = std::unique_ptr<GSList, FreeSnapshot>;

struct FreeValues {
    void operator()(GSList* list) const {
        g_slist_free_full(list,
                          [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
    }
};
using ValuesPtr = std::unique_ptr<GSList, FreeValues>;

void prepend(auto& list, gpointer element) {
    list.reset(g_slist_prepend(list.release(), element));
}

// A private copy of a record and its bytes; null when its size is more than there is memory for.
SERIALISED_PROPERTY_S* copy_record(const SERIALISED_PROPERTY_S& property) {
    TLV_S stored = {};
    if (mox::copy_stored_value(property, stored) != MOX_OK) {
        return nullptr;
    }
    auto* copy = static_cast<SERIALISED_PROPERTY_S*>(g_memdup2(&property, sizeof(property)));
    copy->next_ptr = nullptr;
    copy->data = stored.data;
    copy->capacity = stored.size;
    return copy;
}

// The named records in the names' order.
gint32 take_snapshot(OBJECT_HEAD_S& object, const GSList* names, SnapshotPtr& snapshot) {
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
        SERIALISED_PROPERTY_S* copy = copy_record(*property);
        if (copy == nullptr) {
            return MOX_ERR_INTERNAL;
        }
        prepend(snapshot, copy);
    }
    snapshot.reset(g_slist_reverse(snapshot.release()));
    return MOX_OK;
}

// Asks the live sources, which see overridden properties like any other here. FALSE: none took it.
bool read_live(OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property, TLV_S& tlv, gint32& result) {
    if (mox::is_reference(property)) {
        return _get_reference_property_data(&property, TRUE, &tlv, &result, FALSE) != FALSE;
    }
    gboolean inputs_changed = FALSE;
    return _get_expression_data(&object, &property, &tlv, nullptr, &result, &inputs_changed,
                                FALSE) ||
           _get_hardware_data(&object, &property, &tlv, &result, FALSE);
}

// The value of one record, floating. Null stops the call with result, which is 0 when a formula
// yields no value.
GVariant* value_of(OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property, gint32& result) {
    TLV_S tlv = {};
    result = MOX_OK;
    if (!read_live(object, property, tlv, result)) {
        std::memcpy(tlv.type, property.type, PUB_TYPE_LENGTH);
        tlv.size = static_cast<guint32>(property.size);
        tlv.data = std::exchange(property.data, nullptr);  // nobody else looks at the snapshot
    }
    const bool has_value = result == MOX_OK && tlv.type[0] != '\0';
    if (!has_value) {
        g_free(tlv.data);
        return nullptr;
    }
    GVariant* value = mox::value_of_bytes(tlv.type, tlv.data, tlv.size);
    result = value == nullptr ? MOX_ERR_TYPE_NOT_SUPPORTED : MOX_OK;
    return value;
}

// The values of a snapshot in its order; null and the cause when one has none.
ValuesPtr read_values(OBJECT_HEAD_S& object, GSList* snapshot, gint32& result) {
    ValuesPtr values;
    for (; snapshot != nullptr; snapshot = snapshot->next) {
        GVariant* value =
            value_of(object, *static_cast<SERIALISED_PROPERTY_S*>(snapshot->data), result);
        if (value == nullptr) {
            return nullptr;
        }
        prepend(values, value);
    }
    return ValuesPtr(g_slist_reverse(values.release()));
}

}  // namespace

void _delete_temp_property_value(gpointer property) {
    auto* copy = static_cast<SERIALISED_PROPERTY_S*>(property);
    g_free(copy->data);
    g_free(copy);
}

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
    SnapshotPtr snapshot;
    gint32 result = take_snapshot(*object, property_name_list, snapshot);
    if (result == MOX_OK) {
        *property_value_list = read_values(*object, snapshot.get(), result).release();
    }
    return result;
}
