// The link bounds the call and runs no sources of the caller's main context.
#include "module/hook_call.hpp"

#include <moxlib/moxbase.h>
#include <pub.h>

#include "wire/interface.hpp"

namespace mox::host {

bool is_utf8(const gchar* text) {
    return text != nullptr && g_utf8_validate(text, -1, nullptr) != FALSE;
}

VariantPtr ask(const char* method, GVariant* arguments, const char* reply_type) {
    GError* error = nullptr;
    VariantPtr reply = owner_link().call(method, arguments, reply_type, &error);
    if (!reply) {
        pub_debug_print(MX_DBG_ERR, "%s.\n", error->message);
        g_error_free(error);
    }
    return reply;
}

gint32 ask_status(const char* method, GVariant* arguments) {
    const VariantPtr reply = ask(method, arguments, wire::status_reply);
    gint32 status = MOX_ERR_INTERNAL;
    if (reply) {
        g_variant_get(reply.get(), wire::status_reply, &status);
    }
    return status;
}

}  // namespace mox::host
