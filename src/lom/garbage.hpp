// Internal view of the garbage table: records that left the object table and that another process
// may still hold a copy of.
#ifndef MOX_LOM_GARBAGE_HPP
#define MOX_LOM_GARBAGE_HPP

#include <glib.h>

// A name of its own -> record; null until the first one. Guarded by g_recycle_hash_mutex.
extern GHashTable* g_recycle_hashtable;

namespace mox {

// A walk over the object table for the objects of a position.
struct Removal {
    guint32 position;
    GHashTable* collect_table;  // object name -> list of the names of its unsaved properties
};

}  // namespace mox

// Moves one entry of the object table into the garbage when its object is of the position. Returns
// whether it left the table. user_data: a Removal. Called within a TableChangeGuard.
gboolean _mark_removed_object(gpointer key, gpointer value, gpointer user_data);

// Whether nobody holds a garbage record any more: no module has a copy, and at most the garbage
// table's reference is left. user_data: null.
gboolean _garbage_unref(gpointer key, gpointer value, gpointer user_data);

#endif
