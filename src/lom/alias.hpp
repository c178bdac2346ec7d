// Internal view of the alias table: alias key -> object name, local to the process.
#ifndef MOX_LOM_ALIAS_HPP
#define MOX_LOM_ALIAS_HPP

#include <glib.h>
#include <stdio.h>

// Null until the first alias is bound. Keys and names are the table's own.
extern GHashTable* g_local_alias_hashtable;

namespace mox {

// The alias lock, which guards the table and is never held together with another lock.
GMutex& alias_lock();

// Prints one line per alias. stream: not null.
void dump_aliases(FILE* stream);

}  // namespace mox

#endif
