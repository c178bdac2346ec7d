// Only where the profile limits them: elsewhere an override needs no owner. One that cannot be
// asked permits nothing: the override fails with MOX_ERR_INTERNAL (logged).
#include "module/override_check.hpp"

#include <lom.h>

#include "module/hook_call.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

gint32 ask_owner(const gchar* object_name, const gchar* property_name) {
    if (!is_utf8(object_name) || !is_utf8(property_name)) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    return ask_status("MayOverride", g_variant_new("(ss)", object_name, property_name));
}

}  // namespace

bool install_override_check(GError** error) {
    const VariantPtr reply =
        owner_link().call("IsOverrideLimited", nullptr, wire::flag_reply, error);
    if (!reply) {
        return false;
    }
    gboolean is_limited = TRUE;
    g_variant_get(reply.get(), wire::flag_reply, &is_limited);
    lom_set_override_check_func(is_limited != FALSE ? ask_owner : nullptr);
    return true;
}

void remove_override_check() {
    lom_set_override_check_func(nullptr);
}

}  // namespace mox::host
