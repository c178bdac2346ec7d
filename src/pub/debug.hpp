// Internal view of the diagnostic output: the module-wide state, for tests.
#ifndef MOX_PUB_DEBUG_HPP
#define MOX_PUB_DEBUG_HPP

#include <glib.h>

// The module's name, kept as a pointer; the caller of pub_log_init keeps the string alive.
extern const gchar* g_module_name;
// Path of the level directory, built at its first use and then kept.
extern gchar file_name[64];

#endif
