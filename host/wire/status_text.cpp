// The codes' ranges tell whose they are.
#include "wire/status_text.hpp"

#include <moxlib/moxbase.h>
#include <moxplat/driver.h>
#include <moxplat/osal.h>
#include <moxplat/persist_store.h>

namespace mox::host::wire {
namespace {

const char* store_text(gint32 status) {
    switch (status) {
        case MOX_ERR_INTERNAL:
            return "inconsistent record, a reference that leads nowhere, or no answer of the owner";
        case MOX_ERR_BAD_ARGUMENT:
            return "a required argument is missing or wrong";
        case MOX_ERR_OBJECT_NOT_FOUND:
            return "no such object";
        case MOX_ERR_PROPERTY_NOT_FOUND:
            return "no such property";
        case MOX_ERR_NO_ACCESSOR:
            return "the property has no accessor, or is overridden";
        case MOX_ERR_TYPE_MISMATCH:
            return "the value is not of the property's type";
        case MOX_ERR_TYPE_NOT_SUPPORTED:
            return "the type is not supported, or no value can be built";
        case MOX_ERR_NOT_PERMITTED:
            return "the object's class belongs to another module, the profile gives this one no "
                   "right "
                   "to it, or the mode is wrong";
        case MOX_ERR_SEMAPHORE:
            return "the object's semaphore could not be taken";
        case MOX_ERR_MESSAGE_TOO_BIG:
            return "the value is longer than 65536 bytes";
        case MOX_ERR_NO_PORT:
            return "this module's message port is not set";
        case MOX_ERR_OVERRIDDEN:
            return "the property is overridden; cancel that first";
        default:
            return "unknown code";
    }
}

const char* text_of(gint32 status) {
    constexpr gint32 last_persist = PER_ERROR_CLEAR_CFG_FLAG;
    if (status >= PER_ERROR_PARA_0_INVALID && status <= last_persist) {
        return cfg_error_text(status);
    }
    if (status <= DRIVER_ERR_BAD_ARGUMENT && status >= DRIVER_ERR_REFUSED) {
        return driver_error_text(status);
    }
    if (status <= OSAL_ERR_EMPTY && status >= OSAL_ERR_SYSTEM) {
        return osal_error_text(status);
    }
    return store_text(status);
}

}  // namespace

std::string status_text(gint32 status) {
    return "code " + std::to_string(status) + " (" + text_of(status) + ")";
}

}  // namespace mox::host::wire
