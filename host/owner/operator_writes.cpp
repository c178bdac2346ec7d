// A reference stands for the property that it leads to in the end, also when an override is
// cancelled: it is forced there.
#include "owner/operator_writes.hpp"

#include <lom.h>
#include <moxplat/osal.h>

#include <atomic>

#include "owner/call_arguments.hpp"
#include "owner/object_record.hpp"
#include "owner/writable_for_now.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

void admit(const JoinedModule& module, const std::string& method) {
    if (module.type != MODULE_INTERFACE) {
        refuse(wire::error_refused, method + " is for modules of the type MODULE_INTERFACE; \"" +
                                        module.name + "\" joined with another type");
    }
}

bool is_overridden(const ObjectDef& object, const std::string& property) {
    const RecordPtr record = record_of(object.name);
    SERIALISED_PROPERTY_S* at = record ? record->property_entry : nullptr;
    while (at != nullptr && property != at->name) {
        at = at->next_ptr;
    }
    if (at == nullptr) {
        return false;
    }
    PROPERTY_STATE_S state;
    state.all = std::atomic_ref<guint32>(at->state.all).load(std::memory_order_relaxed);
    return state.bit.override != 0;
}

// The value of a write and where it goes; the verdict is 0 when it may go there.
struct Write {
    gint32 verdict;
    PropertyPlace place;
    ValuePtr value;
};

Write write_of(const ModelIndex& model, GVariant* arguments) {
    if (model.find_object(string_at(arguments, 0)) == nullptr) {
        return {MOX_ERR_OBJECT_NOT_FOUND, {}, nullptr};
    }
    const PropertyPlace place = model.follow(string_at(arguments, 0), string_at(arguments, 1));
    if (place.property == nullptr) {
        return {MOX_ERR_PROPERTY_NOT_FOUND, {}, nullptr};
    }
    ValuePtr value = value_at(arguments, 2);
    const bool is_too_long = g_variant_get_size(value.get()) > wire::max_remote_bytes;
    return {is_too_long ? MOX_ERR_MESSAGE_TOO_BIG : MOX_OK, place, std::move(value)};
}

// Has the true value take the forced one's place, as far as it comes from hardware or a formula.
gint32 read_anew(OBJ_HANDLE handle, const char* property) {
    GVariant* value = nullptr;
    const gint32 status = lom_get_property_value(handle, property, TRUE, &value, FALSE);
    if (status == MOX_OK) {
        g_variant_unref(g_variant_ref_sink(value));
    }
    return status;
}

// Whether a write that was done failed at telling a listener: such a loss is counted where it
// happens, as it is for every other write.
bool is_of_announcement(gint32 status) {
    return status == MOX_ERR_MESSAGE_TOO_BIG ||
           (status <= OSAL_ERR_EMPTY && status >= OSAL_ERR_SYSTEM);
}

}  // namespace

OperatorWrites::OperatorWrites(const ModelIndex& model, const ModuleAccess& access)
    : model_(model), access_(access) {}

GVariant* OperatorWrites::answer(const JoinedModule& module, const std::string& method,
                                 GVariant* arguments) const {
    if (method != "OperatorSet" && method != "OperatorOverride" && method != "OperatorCancel") {
        return nullptr;
    }
    admit(module, method);
    if (method == "OperatorSet") return status_value(set(module, arguments));
    if (method == "OperatorOverride") return status_value(override_value(module, arguments));
    return cancel(module, arguments);
}

gint32 OperatorWrites::set(const JoinedModule& module, GVariant* arguments) const {
    const Write write = write_of(model_, arguments);
    if (write.verdict != MOX_OK) {
        return write.verdict;
    }
    if (!access_.may_operator_write(module, "OperatorSet", *write.place.object)) {
        return MOX_ERR_NOT_PERMITTED;
    }
    const WritableForNow writable(write.place.object->name);
    return lom_apply_property_value(
        writable.handle(), write.place.property->name.c_str(), write.value.get(),
        static_cast<PER_MODE_E>(write.place.property->persist), APPLY_AUTO_MODE, FALSE);
}

gint32 OperatorWrites::override_value(const JoinedModule& module, GVariant* arguments) const {
    const Write write = write_of(model_, arguments);
    if (write.verdict != MOX_OK) {
        return write.verdict;
    }
    if (!access_.may(module, "OperatorOverride", Access::override_it, *write.place.object)) {
        return MOX_ERR_NOT_PERMITTED;
    }
    // By the names that were given: who refers to the property on the way is announced, too.
    gboolean is_taken = FALSE;
    const gint32 status = lom_override_property_value(lom_name_to_handle(string_at(arguments, 0)),
                                                      string_at(arguments, 1), write.value.get(),
                                                      PROPERTY_OVERRIDE, &is_taken);
    return is_taken != FALSE && is_of_announcement(status) ? static_cast<gint32>(MOX_OK) : status;
}

GVariant* OperatorWrites::cancel(const JoinedModule& module, GVariant* arguments) const {
    const std::string object = string_at(arguments, 0);
    const std::string property = string_at(arguments, 1);
    if (model_.find_object(object) == nullptr) {
        return status_value(MOX_ERR_OBJECT_NOT_FOUND);
    }
    const PropertyPlace place = model_.follow(object, property);
    if (place.property == nullptr) {
        return status_value(MOX_ERR_PROPERTY_NOT_FOUND);
    }
    if (!access_.may(module, "OperatorCancel", Access::override_it, *place.object)) {
        return status_value(MOX_ERR_NOT_PERMITTED);
    }
    if (!is_overridden(*place.object, place.property->name)) {
        refuse(wire::error_state, place.object->name + '.' + place.property->name +
                                      " is not overridden; there is nothing to cancel");
    }
    const OBJ_HANDLE handle = lom_name_to_handle(place.object->name.c_str());
    const char* const name = place.property->name.c_str();
    const gint32 status =
        lom_override_property_value(handle, name, nullptr, PROPERTY_CANCEL_OVERRIDE, nullptr);
    return status_value(status != MOX_OK ? status : read_anew(handle, name));
}

}  // namespace mox::host
