// Internal view of the mark "saved statically".
#ifndef MOX_LOM_SAVE_TYPE_HPP
#define MOX_LOM_SAVE_TYPE_HPP

#include <glib.h>

// A step of a walk over an object's property table (GHFunc): puts a copy of the name of a property
// that is not saved statically in front of a list. property_name: const gchar*. property_head:
// LOCAL_PROPERTY_S*. property_list: GSList**, whose names the caller frees with g_free. Entries
// with a null argument or without a record are skipped.
void _collect_saved_property(gpointer property_name, gpointer property_head,
                             gpointer property_list);

#endif
