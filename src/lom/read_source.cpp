// Choosing where a value comes from: a reference, memory when that is asked for or the property is
// overridden, a formula, hardware, memory. The order decides which value a caller sees.
#include "base/bounded_copy.hpp"
#include "lom/formula_input.hpp"
#include "lom/object_table.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"

namespace {

// The stored value of a record that was found already.
gint32 read_memory(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property, TLV_S& tlv) {
    const mox::SemaphoreGuard semaphore(object);
    if (!semaphore) {
        return MOX_ERR_SEMAPHORE;
    }
    return mox::copy_stored_value(property, tlv);
}

}  // namespace

gint32 _get_property_memory_data(OBJECT_HEAD_S* object_head, const gchar* property_name,
                                 TLV_S* ptlv) {
    const SERIALISED_PROPERTY_S* property = _get_property_node(object_head, property_name);
    return property == nullptr ? MOX_ERR_PROPERTY_NOT_FOUND
                               : read_memory(*object_head, *property, *ptlv);
}

gint32 _get_property_raw_data(OBJECT_HEAD_S* object_head, const gchar* property_name,
                              gboolean is_volatile, TLV_S* ptlv, gboolean is_remote) {
    SERIALISED_PROPERTY_S* property = _get_property_node(object_head, property_name);
    return property == nullptr
               ? MOX_ERR_PROPERTY_NOT_FOUND
               : mox::read_property(*object_head, *property, is_volatile, *ptlv, is_remote);
}

namespace mox {

bool is_answered_from_memory(const SERIALISED_PROPERTY_S& property, gboolean is_volatile) {
    return !is_reference(property) && (!is_volatile || has_state(property, kOverride));
}

bool has_live_source(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property) {
    return !has_state(property, kOverride) &&
           (is_formula_result(object, property) || is_hardware_read(object, property));
}

gint32 read_property(OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property, gboolean is_volatile,
                     TLV_S& tlv, gboolean is_remote) {
    gint32 result = MOX_OK;
    if (is_answered_from_memory(property, is_volatile)) {
        return read_memory(object, property, tlv);
    }
    if (is_reference(property)) {
        return read_reference(object, property, is_volatile, tlv, is_remote);
    }
    FormulaInputs inputs;
    gboolean inputs_changed = FALSE;
    const bool is_formula = _get_expression_data(&object, &property, &tlv, &inputs, &result,
                                                 &inputs_changed, is_remote) != FALSE;
    if (!is_formula && !_get_hardware_data(&object, &property, &tlv, &result, is_remote)) {
        return read_memory(object, property, tlv);
    }
    // What a formula gives for unchanged inputs was read from where it would be written to.
    const bool is_fresh = !is_formula || inputs_changed;
    if (result == MOX_OK && is_fresh && is_writable(object) && has_state(property, kAccessSync)) {
        result = write_back(object, property, tlv, inputs.packages(), inputs_changed != FALSE);
    }
    return result;
}

}  // namespace mox
