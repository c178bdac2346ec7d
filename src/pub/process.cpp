// Small questions about the process's surroundings: environment, paths, other processes.
#include <pub.h>
#include <signal.h>

#include <cstdlib>
#include <cstring>

gint32 pub_get_env_value(const gchar* variable) {
    const gchar* text = variable == nullptr ? nullptr : g_getenv(variable);
    return text == nullptr ? -1 : static_cast<gint32>(std::strtol(text, nullptr, 10));
}

const gchar* pub_get_file_name(const gchar* path_name) {
    const gchar* slash = path_name == nullptr ? nullptr : std::strrchr(path_name, '/');
    return slash == nullptr ? "nil" : slash + 1;
}

gboolean pub_is_process_exist(gint32 pid) {
    return kill(pid, 0) == 0;
}
