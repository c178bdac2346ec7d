// Writing with the profile's persistence modes.
#include <lom.h>

#include "module/module.hpp"
#include "module/property_write.hpp"
#include "wire/interface.hpp"

using namespace mox::host;

gboolean moxhost_persist_mode(MoxHostModule*, const gchar* object_name, const gchar* property_name,
                              PER_MODE_E* mode, GError** error) {
    if (!check_names(object_name, property_name, error)) {
        return FALSE;
    }
    const VariantPtr reply =
        owner_link().call("PersistMode", g_variant_new("(ss)", object_name, property_name),
                          wire::status_reply, error);
    if (!reply) {
        return FALSE;
    }
    gint32 number = PER_MODE_NOSUPPORT;
    g_variant_get(reply.get(), wire::status_reply, &number);
    *mode = number < PER_MODE_NOSUPPORT || number >= PER_MODE_BUTT
                ? PER_MODE_NOSUPPORT
                : static_cast<PER_MODE_E>(number);
    return TRUE;
}

gboolean moxhost_set_property(MoxHostModule* module, const gchar* object_name,
                              const gchar* property_name, GVariant* value, GError** error) {
    const VariantPtr own = taken(value);
    PER_MODE_E mode = PER_MODE_NOSUPPORT;
    if (!check_value(value, error) ||
        !moxhost_persist_mode(module, object_name, property_name, &mode, error)) {
        return FALSE;
    }
    // Looked up, so that it is here.
    const OBJ_HANDLE handle = lom_get_object_handle(object_name);
    const gint32 status =
        handle == 0 ? gint32{MOX_ERR_OBJECT_NOT_FOUND}
                    : lom_set_property_value(handle, property_name, own.get(), mode, FALSE);
    return is_done(status, object_name, property_name, error) ? TRUE : FALSE;
}

gboolean moxhost_apply_property(MoxHostModule*, const gchar* object_name,
                                const gchar* property_name, GVariant* value, GError** error) {
    const VariantPtr own = taken(value);
    if (!check_value(value, error) || !check_names(object_name, property_name, error)) {
        return FALSE;
    }
    return write_by_owner("Apply", object_name, property_name, own.get(), error) ? TRUE : FALSE;
}

gboolean moxhost_restore_defaults(MoxHostModule*, GError** error) {
    return owner_link().call("RestoreDefaults", nullptr, wire::empty_reply, error) != nullptr;
}
