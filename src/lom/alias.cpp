// Aliases: other names for objects, each process its own.
#include "lom/alias.hpp"

#include <glib/gprintf.h>

#include "base/mutex_guard.hpp"

GHashTable* g_local_alias_hashtable = nullptr;

G_LOCK_DEFINE_STATIC(g_local_alias_hashtable);

namespace mox {

GMutex& alias_lock() {
    return G_LOCK_NAME(g_local_alias_hashtable);
}

void dump_aliases(FILE* stream) {
    const MutexGuard guard(alias_lock());
    if (g_local_alias_hashtable == nullptr) {
        return;
    }
    g_hash_table_foreach(
        g_local_alias_hashtable,
        [](gpointer key, gpointer value, gpointer user_data) {
            g_fprintf(static_cast<FILE*>(user_data), "alias name: %s, object name: %s\n",
                      static_cast<const gchar*>(key), static_cast<const gchar*>(value));
        },
        stream);
}

}  // namespace mox
