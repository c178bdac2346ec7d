// The persistence library's own log line names the file and the cause; the line here says what it
// means for this process.
#include "owner/store.hpp"

#include <glib.h>
#include <moxplat/persist_store.h>
#include <unistd.h>

#include <cstdio>

namespace mox::host {
namespace {

std::string absolute(const std::string& path) {
    gchar* const canonical = g_canonicalize_filename(path.c_str(), nullptr);
    std::string result = canonical;
    g_free(canonical);
    return result;
}

bool is_set(const char* text) {
    return text != nullptr && text[0] != '\0';
}

}  // namespace

std::string state_directory(const char* wanted) {
    if (is_set(wanted)) {
        return absolute(wanted);
    }
    const gchar* const own = g_getenv("MOX_STATE_DIR");
    if (is_set(own)) {
        return absolute(own);
    }
    const gchar* const users = g_getenv("XDG_STATE_HOME");
    if (is_set(users)) {
        return absolute(std::string(users) + "/moxd");
    }
    if (geteuid() == 0) {
        return "/var/lib/moxd";
    }
    return absolute(std::string(g_get_home_dir()) + "/.local/state/moxd");
}

Store::Store(const std::string& state_dir, const std::string& volatile_dir) {
    const gint32 status = cfg_store_open(state_dir.c_str(), volatile_dir.c_str());
    is_open_ = status == PER_OK || status == PER_ERROR_DATA_INVALID;
    if (status == PER_ERROR_DATA_INVALID) {
        std::fprintf(stderr,
                     "moxd: a damaged file of the store in %s or %s was kept aside as "
                     "NAME.damaged-N and begun anew; the profile's values stand for what it held\n",
                     state_dir.c_str(), volatile_dir.c_str());
    } else if (!is_open_) {
        std::fprintf(stderr,
                     "moxd: the store in %s and %s cannot be opened: %s (%d); nothing is saved or "
                     "restored; mend it, or give another --state-dir or --volatile-dir\n",
                     state_dir.c_str(), volatile_dir.c_str(), cfg_error_text(status), status);
    }
}

Store::~Store() {
    if (is_open_) {
        cfg_store_close();
    }
}

}  // namespace mox::host
