// Small questions about the process's surroundings: environment, paths, other processes.
#include <pub.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

gint32 pub_get_env_value(const gchar* variable) {
    const gchar* text = variable == nullptr ? nullptr : g_getenv(variable);
    if (text == nullptr) {
        return -1;
    }
    // A number beyond the result's range stays out of every range that callers ask for.
    const gint64 number = std::strtoll(text, nullptr, 10);
    return static_cast<gint32>(std::clamp<gint64>(number, G_MININT32, G_MAXINT32));
}

const gchar* pub_get_file_name(const gchar* path_name) {
    const gchar* slash = path_name == nullptr ? nullptr : std::strrchr(path_name, '/');
    return slash == nullptr ? "nil" : slash + 1;
}

gboolean pub_is_process_exist(gint32 pid) {
    return kill(pid, 0) == 0;
}
