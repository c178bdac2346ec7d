// Internal view of batch deletion.
#ifndef MOX_LOM_DELETION_HPP
#define MOX_LOM_DELETION_HPP

#include <glib.h>

namespace mox {

// A walk over the object table for the objects of a position.
struct BatchDeletion {
    guint32 position;
    GSList* keys;    // of the entries that were taken out
    GSList* unheld;  // their records
};

}  // namespace mox

// Marks one entry of the object table deleted and drops the table's reference when it is a ready
// object of the position. Returns whether the entry leaves the table: nobody holds its record.
// user_data: a BatchDeletion, which then has it.
gboolean _position_traverse_object(gpointer key, gpointer value, gpointer user_data);

#endif
