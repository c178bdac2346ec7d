// Writing with the profile's persistence modes.
#include <lom.h>

#include "module/host_error.hpp"
#include "module/module.hpp"
#include "module/owner_link.hpp"
#include "wire/interface.hpp"
#include "wire/status_text.hpp"
#include "wire/value_copy.hpp"

namespace mox::host {
namespace {

bool check_names(const gchar* object_name, const gchar* property_name, GError** error) {
    return check_text(object_name, "object", error) && check_text(property_name, "property", error);
}

// Takes the caller's floating reference, or one of its own.
VariantPtr taken(GVariant* value) {
    return VariantPtr(value == nullptr ? nullptr : g_variant_ref_sink(value));
}

// True for a success; otherwise error says which property, what failed and the code.
bool is_done(gint32 status, const gchar* object_name, const gchar* property_name, GError** error) {
    if (status >= MOX_OK) {
        return true;
    }
    set_error(error, MOXHOST_ERROR_FAILED,
              std::string("property \"") + object_name + '.' + property_name +
                  "\" not written: " + wire::status_text(status));
    return false;
}

bool check_value(GVariant* value, GError** error) {
    if (value == nullptr) {
        set_error(error, MOXHOST_ERROR_FAILED, "there is no value to write");
    }
    return value != nullptr;
}

}  // namespace
}  // namespace mox::host

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
    gint32 status = MOX_ERR_MESSAGE_TOO_BIG;
    if (g_variant_get_size(own.get()) <= wire::max_remote_bytes) {
        const VariantPtr reply = owner_link().call(
            "Apply",
            g_variant_new("(ssv)", object_name, property_name, wire::copy_value(own.get())),
            wire::status_reply, error);
        if (!reply) {
            return FALSE;
        }
        g_variant_get(reply.get(), wire::status_reply, &status);
    }
    return is_done(status, object_name, property_name, error) ? TRUE : FALSE;
}

gboolean moxhost_restore_defaults(MoxHostModule*, GError** error) {
    return owner_link().call("RestoreDefaults", nullptr, wire::empty_reply, error) != nullptr;
}
