#include "module/property_write.hpp"

#include <moxplat/driver.h>

#include "wire/interface.hpp"
#include "wire/status_text.hpp"
#include "wire/value_copy.hpp"

namespace mox::host {

bool check_names(const gchar* object_name, const gchar* property_name, GError** error) {
    return check_text(object_name, "object", error) && check_text(property_name, "property", error);
}

bool check_value(GVariant* value, GError** error) {
    if (value == nullptr) {
        set_error(error, MOXHOST_ERROR_FAILED, "there is no value to write");
    }
    return value != nullptr;
}

VariantPtr taken(GVariant* value) {
    return VariantPtr(value == nullptr ? nullptr : g_variant_ref_sink(value));
}

bool is_of_driver(gint32 status) {
    return status <= DRIVER_ERR_BAD_ARGUMENT && status >= DRIVER_ERR_REFUSED;
}

void set_write_error(const gchar* object_name, const gchar* property_name, const char* outcome,
                     gint32 status, GError** error) {
    set_status_error(error, status,
                     std::string("property \"") + object_name + '.' + property_name + "\" " +
                         outcome + ": " + wire::status_text(status));
}

bool is_done(gint32 status, const gchar* object_name, const gchar* property_name, GError** error) {
    if (status >= MOX_OK) {
        return true;
    }
    // Persistence and the hardware come after the store and the announcement.
    const bool is_of_store =
        status >= PER_ERROR_PARA_0_INVALID && status <= PER_ERROR_CLEAR_CFG_FLAG;
    const char* const outcome = is_of_store            ? "written, but not saved"
                                : is_of_driver(status) ? "written, but not in its hardware"
                                                       : "not written";
    set_write_error(object_name, property_name, outcome, status, error);
    return false;
}

bool write_by_owner(const char* method, const gchar* object_name, const gchar* property_name,
                    GVariant* value, GError** error) {
    gint32 status = MOX_ERR_MESSAGE_TOO_BIG;
    if (g_variant_get_size(value) <= wire::max_remote_bytes) {
        const VariantPtr reply = owner_link().call(
            method, g_variant_new("(ssv)", object_name, property_name, wire::copy_value(value)),
            wire::status_reply, error);
        if (!reply) {
            return false;
        }
        g_variant_get(reply.get(), wire::status_reply, &status);
    }
    return is_done(status, object_name, property_name, error);
}

}  // namespace mox::host
