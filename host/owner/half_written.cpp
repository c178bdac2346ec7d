// The mark is looked at twice: without the object's semaphore it may be that of a write that goes
// on, and only for the few marked ones the semaphore is waited for.
#include "owner/half_written.hpp"

#include <lom.h>
#include <pub.h>

#include <algorithm>

#include "owner/object_record.hpp"
#include "owner/restore_defaults.hpp"

namespace mox::host {
namespace {

bool has_mark(const SERIALISED_PROPERTY_S& property) {
    const gint state = g_atomic_int_get(reinterpret_cast<const gint*>(&property.state.all));
    return (static_cast<guint32>(state) & PROPERTY_STATE_HALF_WRITTEN) != 0;
}

// Under the semaphore, which a living writer would hold.
bool is_left_half_written(OBJ_HANDLE object, const gchar* property) {
    TLV_S stored = {};
    const gint32 result = lom_get_property_memory_data(object, property, &stored);
    g_free(stored.data);
    return result == MOX_ERR_INTERNAL;
}

void mend(const ObjectDef& object, const PropertyValue& property) {
    const OBJ_HANDLE handle = lom_name_to_handle(object.name.c_str());
    if (!is_left_half_written(handle, property.name.c_str())) {
        return;
    }
    pub_debug_print(MX_DBG_ERR,
                    "%s.%s was left half written by a process that died; put back to its saved or "
                    "first value.\n",
                    object.name.c_str(), property.name.c_str());
    lom_override_property_value(handle, property.name.c_str(), nullptr, PROPERTY_CANCEL_OVERRIDE,
                                nullptr);
    write_what_is_left({&object, &property});
}

}  // namespace

void mend_half_written(const ModelIndex& model) {
    for (const ObjectDef* const object : model.objects_of("")) {
        const RecordPtr record = record_of(object->name);
        if (!record) {
            continue;
        }
        for (guint32 index = 0; index < record->property_count; ++index) {
            const SERIALISED_PROPERTY_S& property = record->property_entry[index];
            if (!has_mark(property)) {
                continue;
            }
            const auto known = std::find_if(
                object->properties.begin(), object->properties.end(),
                [&property](const PropertyValue& value) { return value.name == property.name; });
            if (known != object->properties.end()) {
                mend(*object, *known);
            }
        }
    }
}

}  // namespace mox::host
