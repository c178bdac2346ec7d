// Internal view of the text dumps: the block of one object.
#ifndef MOX_LOM_DUMP_HPP
#define MOX_LOM_DUMP_HPP

#include <glib.h>

// A GHFunc over tables of records: prints one object's block to the FILE* in user_data.
void _dump_hash_object(gpointer key, gpointer value, gpointer user_data);

#endif
