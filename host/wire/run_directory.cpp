// Owner and module come to the same directory when neither is told one.
#include "wire/run_directory.hpp"

#include <gio/gio.h>
#include <sys/un.h>

namespace mox::host::wire {
namespace {

std::string variable(const char* name) {
    const gchar* const value = g_getenv(name);
    return value == nullptr ? "" : value;
}

std::string absolute(const std::string& path) {
    gchar* const canonical = g_canonicalize_filename(path.c_str(), nullptr);
    std::string result = canonical;
    g_free(canonical);
    return result;
}

}  // namespace

std::string run_directory(const char* wanted) {
    if (wanted != nullptr && wanted[0] != '\0') {
        return absolute(wanted);
    }
    const std::string own = variable("MOX_RUN_DIR");
    if (!own.empty()) {
        return absolute(own);
    }
    const std::string users = variable("XDG_RUNTIME_DIR");
    return users.empty() ? "/run/moxd" : absolute(users + "/moxd");
}

std::string socket_path(const std::string& run_directory) {
    return run_directory + "/moxd.sock";
}

std::string socket_address(const std::string& run_directory) {
    const std::string path = socket_path(run_directory);
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
        return {};
    }
    gchar* const escaped = g_dbus_address_escape_value(path.c_str());
    std::string address = std::string("unix:path=") + escaped;
    g_free(escaped);
    return address;
}

}  // namespace mox::host::wire
