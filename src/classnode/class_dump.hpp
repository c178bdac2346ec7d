// Internal view of the class dump: the step that prints one class.
#ifndef MOX_CLASSNODE_CLASS_DUMP_HPP
#define MOX_CLASSNODE_CLASS_DUMP_HPP

#include <glib.h>

// A GHFunc over the class table: prints one class to the FILE* in user_data.
void _traverse_local_class(gpointer key, gpointer value, gpointer user_data);

#endif
