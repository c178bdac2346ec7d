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

}  // namespace mox::host

#endif
