// Internal view of this process's object table: the one lookup through which every operation
// reaches a record.
#ifndef MOX_LOM_OBJECT_TABLE_HPP
#define MOX_LOM_OBJECT_TABLE_HPP

#include <lom/object.h>
#include <lom/registry.h>

// Guards the object table, with the lookup locks of lom/table_lock.hpp. Recursive; taken before
// g_recycle_hash_mutex when both are needed; held while the copy hook fetches a record, never while
// a traversal's function runs. Bound data of a record that leaves the table is destroyed under it.
extern GRecMutex g_obj_hash_mutex;
// Guards the garbage table.
extern GRecMutex g_recycle_hash_mutex;
// Object name -> OBJECT_HEAD_S; null until the first object.
extern GHashTable* g_local_object_hashtable;

// Finds an object by name and takes a reference on it, which the caller drops with _object_unref.
// object_name: nullable. internal_only: FALSE lets the copy hook fetch what is not known here.
// Returns null when there is none, it is marked deleted, or its last reference is gone.
OBJECT_HEAD_S* _get_object_ptr_option(const gchar* object_name, gboolean internal_only);

namespace mox {

// The handle of an object that a lookup by name finds, anywhere; 0 when there is none.
OBJ_HANDLE find_handle(const gchar* object_name);

// Frees a key that was taken out of the object table. key: nullable.
void free_table_key(gpointer key);

}  // namespace mox

// Publishes a record under its name and makes its property table if it has none. key: the record's
// object_name.
void _add_object_ptr(OBJECT_HEAD_S* object_head, const gchar* key);

// Finds a property's record by name; null when the object has none of that name. property_name:
// nullable.
SERIALISED_PROPERTY_S* _get_property_node(OBJECT_HEAD_S* object_head, const gchar* property_name);

// Calls func(name, record, user_data) for a snapshot of the table; the record is null for an object
// that was just being freed. No lock is held during the calls.
void _foreach_object_copy(GHFunc func, gpointer user_data);

// Puts one entry of the object table into the snapshot table in user_data.
void _copy_object_hashtable(gpointer key, gpointer value, gpointer user_data);

#endif
