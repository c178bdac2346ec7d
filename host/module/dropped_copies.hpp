// Dropping this process's copies of objects that the owner removed.
#ifndef MOXHOST_MODULE_DROPPED_COPIES_HPP
#define MOXHOST_MODULE_DROPPED_COPIES_HPP

#include <glib.h>

namespace mox::host {

// Drops the copies of a position's objects, when one of them is of an object that was removed. A
// copy that another thread holds goes when that thread lets it go.
void drop_copies(guint32 position);

// The same, and tells the owner, which then frees what nobody has a copy of. Does not wait.
void drop_copies_and_tell(guint32 position);

// Drops all copies. At the end; no other thread uses the object store then.
void drop_all_copies();

}  // namespace mox::host

#endif
