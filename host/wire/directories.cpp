// All programs come to the same directories when they are told none.
#include "wire/directories.hpp"

#include <gio/gio.h>
#include <sys/un.h>
#include <unistd.h>

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

bool exists(const std::string& path) {
    return g_file_test(path.c_str(), G_FILE_TEST_EXISTS) != FALSE;
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

std::string owner_directory(const char* wanted, const std::string& of_system) {
    const std::string first = run_directory(wanted);
    const bool is_chosen =
        (wanted != nullptr && wanted[0] != '\0') || !variable("MOX_RUN_DIR").empty();
    return !is_chosen && !exists(socket_path(first)) && exists(socket_path(of_system)) ? of_system
                                                                                       : first;
}

std::string state_directory(const char* wanted) {
    if (wanted != nullptr && wanted[0] != '\0') {
        return absolute(wanted);
    }
    const std::string own = variable("MOX_STATE_DIR");
    if (!own.empty()) {
        return absolute(own);
    }
    const std::string users = variable("XDG_STATE_HOME");
    if (!users.empty()) {
        return absolute(users + "/moxd");
    }
    return geteuid() == 0 ? "/var/lib/moxd"
                          : absolute(std::string(g_get_home_dir()) + "/.local/state/moxd");
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
