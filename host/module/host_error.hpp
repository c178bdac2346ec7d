// Errors of this library: a code and a message that says what, why and what to do.
#ifndef MOXHOST_MODULE_HOST_ERROR_HPP
#define MOXHOST_MODULE_HOST_ERROR_HPP

#include <moxhost/moxhost.h>

#include <string>

namespace mox::host {

// error: nullable, as everywhere in GLib.
inline void set_error(GError** error, MoxHostError code, const std::string& message) {
    g_set_error_literal(error, MOXHOST_ERROR, code, message.c_str());
}

// The same with MOXHOST_ERROR_FAILED and the status that a caller can ask for.
void set_status_error(GError** error, gint32 status, const std::string& message);

// Whether a name can be sent; sets the error when it cannot. what: such as "object".
inline bool check_text(const gchar* text, const char* what, GError** error) {
    if (text != nullptr && g_utf8_validate(text, -1, nullptr) != FALSE) {
        return true;
    }
    set_error(error, MOXHOST_ERROR_NOT_FOUND, std::string("the ") + what + " name is not UTF-8");
    return false;
}

}  // namespace mox::host

#endif
