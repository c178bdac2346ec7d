// Writes for a person, done by the owner.
#include <moxhost/operator.h>

#include "module/property_write.hpp"
#include "wire/interface.hpp"

using namespace mox::host;

namespace {

gboolean write_value(const char* method, const gchar* object_name, const gchar* property_name,
                     GVariant* value, GError** error) {
    const VariantPtr own = taken(value);
    return check_value(value, error) && check_names(object_name, property_name, error) &&
                   write_by_owner(method, object_name, property_name, own.get(), error)
               ? TRUE
               : FALSE;
}

}  // namespace

gboolean moxhost_operator_set(MoxHostModule*, const gchar* object_name, const gchar* property_name,
                              GVariant* value, GError** error) {
    return write_value("OperatorSet", object_name, property_name, value, error);
}

gboolean moxhost_operator_override(MoxHostModule*, const gchar* object_name,
                                   const gchar* property_name, GVariant* value, GError** error) {
    return write_value("OperatorOverride", object_name, property_name, value, error);
}

gboolean moxhost_operator_cancel(MoxHostModule*, const gchar* object_name,
                                 const gchar* property_name, GError** error) {
    if (!check_names(object_name, property_name, error)) {
        return FALSE;
    }
    const VariantPtr reply =
        owner_link().call("OperatorCancel", g_variant_new("(ss)", object_name, property_name),
                          wire::status_reply, error);
    if (!reply) {
        return FALSE;
    }
    gint32 status = MOX_OK;
    g_variant_get(reply.get(), wire::status_reply, &status);
    if (is_of_driver(status)) {
        set_write_error(object_name, property_name, "has its override ended, but cannot be read",
                        status, error);
        return FALSE;
    }
    return is_done(status, object_name, property_name, error) ? TRUE : FALSE;
}
