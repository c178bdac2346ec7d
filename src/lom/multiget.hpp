// Internal view of reading several properties at once.
#ifndef MOX_LOM_MULTIGET_HPP
#define MOX_LOM_MULTIGET_HPP

#include <glib.h>

// Frees one record of a snapshot: a SERIALISED_PROPERTY_S with its bytes (GDestroyNotify).
void _delete_temp_property_value(gpointer property);

#endif
