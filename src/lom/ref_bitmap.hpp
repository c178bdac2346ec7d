// Internal view of the modules' bits: this process's own id.
#ifndef MOX_LOM_REF_BITMAP_HPP
#define MOX_LOM_REF_BITMAP_HPP

#include <glib.h>

// The bit that this process clears when it frees its copy of a record; 0 until it is set.
extern gint32 g_bitmap_id;

#endif
