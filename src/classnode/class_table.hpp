// Internal view of the class registry: this process's table of classes and the lock that guards it.
#ifndef MOX_CLASSNODE_CLASS_TABLE_HPP
#define MOX_CLASSNODE_CLASS_TABLE_HPP

#include <classnode.h>

#include "base/mutex_guard.hpp"

// Class name -> CLS_HANDLE; null until the first class.
extern GHashTable* g_class_hashtable;
// First shared record of the chain; set once, from null, by compare-and-swap.
extern gpointer g_share_data_base_addr;

// The class-table lock: guards the table, the object lists and the walk of the listener lists.
// Never held while calling out, but for the dump, which asks for object names.
GMutex& class_table_lock();

// Puts a node into the table, unless the name is there already. Returns the node that the table
// has: another one than the given when another thread was faster; the given one is then the
// caller's.
CLS_HANDLE insert_class(const gchar* class_name, CLS_HANDLE node);

// Attaches a class that this process does not know yet, by name; null when the owner has none of
// that name.
CLS_HANDLE _add_new_class(const gchar* class_name);

// Value destroy function of the table. The private record and the shared listener list are left
// alone on purpose: other processes may still walk the list.
void _free_class(gpointer class_handle);

// Finds a class in this process's table, or attaches it.
CLS_HANDLE find_or_attach_class(const gchar* class_name);

// Finds a class in this process's table. Called with the class-table lock held.
inline CLS_HANDLE known_class(const gchar* class_name) {
    return g_class_hashtable == nullptr
               ? nullptr
               : static_cast<CLS_HANDLE>(g_hash_table_lookup(g_class_hashtable, class_name));
}

#endif
