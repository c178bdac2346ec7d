// This process's objects by name. The table holds one reference on each record; a lookup takes a
// further one under its thread's lookup lock, so a record found here cannot vanish before its
// finder lets go.
#include "lom/object_table.hpp"

#include <lom/hardware.h>
#include <lom/registry.h>
#include <pub.h>

#include <cstring>

#include "base/glib_ptr.hpp"
#include "base/mutex_guard.hpp"
#include "base/published.hpp"
#include "lom/hooks.hpp"
#include "lom/object_ref.hpp"
#include "lom/property_state.hpp"
#include "lom/release.hpp"
#include "lom/table_lock.hpp"

GRecMutex g_obj_hash_mutex;
GRecMutex g_recycle_hash_mutex;
GHashTable* g_local_object_hashtable = nullptr;

namespace {

// Runs when the library is loaded, before any exported function can.
__attribute__((constructor)) void enter_process() {
    g_rec_mutex_init(&g_obj_hash_mutex);
    g_rec_mutex_init(&g_recycle_hash_mutex);
}

// A key of the table: the name, and before it the handle, which a lookup by name then gives without
// a second one among the quarks.
gchar* make_table_key(const gchar* name) {
    const OBJ_HANDLE handle = lom_name_to_handle(name);
    const gsize name_size = std::strlen(name) + 1;
    auto* block = static_cast<gchar*>(g_malloc(sizeof(handle) + name_size));
    std::memcpy(block, &handle, sizeof(handle));
    std::memcpy(block + sizeof(handle), name, name_size);
    return block + sizeof(handle);
}

OBJ_HANDLE handle_of_key(gconstpointer key) {
    OBJ_HANDLE handle = 0;
    std::memcpy(&handle, static_cast<const gchar*>(key) - sizeof(handle), sizeof(handle));
    return handle;
}

// What a lookup finds: neither marked deleted nor on its way out.
bool is_findable(const OBJECT_HEAD_S& object) {
    return mox::read_published(object.status) != OBJECT_MARK_DEL &&
           g_atomic_int_get(&object.ref_count) > 0;
}

enum class Presence { kFound, kMarkedDeleted, kGone, kUnknown };

// Looks a name up and takes a reference; called with a lookup lock or the mutex held.
Presence take_known(const gchar* object_name, OBJECT_HEAD_S** object) {
    *object = g_local_object_hashtable == nullptr ? nullptr
                                                  : static_cast<OBJECT_HEAD_S*>(g_hash_table_lookup(
                                                        g_local_object_hashtable, object_name));
    if (*object == nullptr) {
        return Presence::kUnknown;
    }
    if (mox::read_published((*object)->status) == OBJECT_MARK_DEL) {
        return Presence::kMarkedDeleted;
    }
    if (!mox::take_reference(*object)) {
        return Presence::kGone;
    }
    return Presence::kFound;
}

Presence take_known_alone(const gchar* object_name, OBJECT_HEAD_S** object) {
    const mox::LookupGuard guard;
    return take_known(object_name, object);
}

// Fetches a record from its owner and publishes it: with the table's reference and the caller's.
// Called with the mutex held. Returns null when there is no hook, or no such object.
OBJECT_HEAD_S* fetch_copy(const gchar* object_name) {
    if (g_copy_object_func == nullptr) {
        return nullptr;
    }
    OBJECT_HEAD_S* object = g_copy_object_func(object_name, sizeof(OBJECT_HEAD_S));
    if (object == nullptr) {
        return nullptr;
    }
    if (g_atomic_int_get(&object->ref_count) < 1 || object->object_name == nullptr) {
        g_free(object);
        return nullptr;
    }
    g_atomic_int_inc(&object->ref_count);
    _add_object_ptr(object, object->object_name);
    return object;
}

void report_missing(const gchar* object_name) {
    pub_debug_print(MX_DBG_DETAIL, "%s: object \"%s\" not exist.\n", "_get_object_ptr_option",
                    object_name);
}

// Makes a record's property table, walking its properties in class order.
void make_property_table(OBJECT_HEAD_S* object) {
    object->property_hash = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    for (SERIALISED_PROPERTY_S* property = object->property_entry; property != nullptr;
         property = property->next_ptr) {
        pub_debug_print(MX_DBG_DETAIL, "add property: object:%s,property:%s\n", object->object_name,
                        property->name);
        auto* local = g_new0(LOCAL_PROPERTY_S, 1);
        local->property_ptr = property;
        gchar* name = g_strdup(property->name);
        if (name == nullptr) {
            g_free(local);
            return;
        }
        g_hash_table_insert(object->property_hash, name, local);
    }
}

// Puts a record into the table. A record of the same name leaves it first, for good.
void insert_record(OBJECT_HEAD_S* object, const gchar* key) {
    if (g_local_object_hashtable == nullptr) {
        mox::publish(
            g_local_object_hashtable,
            g_hash_table_new_full(g_str_hash, g_str_equal, mox::free_table_key, _free_object_head));
    }
    gpointer old_key = nullptr;
    gpointer old_object = nullptr;
    if (g_hash_table_steal_extended(g_local_object_hashtable, key, &old_key, &old_object)) {
        mox::free_table_key(old_key);
        if (old_object != object) {
            auto* old = static_cast<OBJECT_HEAD_S*>(old_object);
            if (old->ref_bitmap == object->ref_bitmap) {
                // A second copy of one object: this process's bit is the new copy's from now on.
                old->ref_bitmap = nullptr;
            }
            mox::retire_replaced(old);
        }
    }
    g_hash_table_insert(g_local_object_hashtable, make_table_key(key), object);
}

}  // namespace

void mox::free_table_key(gpointer key) {
    if (key != nullptr) {
        g_free(static_cast<gchar*>(key) - sizeof(OBJ_HANDLE));
    }
}

OBJ_HANDLE mox::find_handle(const gchar* object_name) {
    if (object_name == nullptr || object_name[0] == '\0') {
        return 0;
    }
    {
        const LookupGuard guard;
        gpointer key = nullptr;
        gpointer object = nullptr;
        if (g_local_object_hashtable != nullptr &&
            g_hash_table_lookup_extended(g_local_object_hashtable, object_name, &key, &object) &&
            is_findable(*static_cast<const OBJECT_HEAD_S*>(object))) {
            return handle_of_key(key);
        }
    }
    const ObjectRef object = find_anywhere(object_name);
    return object ? lom_name_to_handle(object->object_name) : 0;
}

OBJECT_HEAD_S* _get_object_ptr_option(const gchar* object_name, gboolean internal_only) {
    if (object_name == nullptr || object_name[0] == '\0') {
        return nullptr;
    }
    OBJECT_HEAD_S* object = nullptr;
    bool is_fetched = false;
    Presence presence = take_known_alone(object_name, &object);
    if (presence == Presence::kUnknown && !internal_only && g_copy_object_func != nullptr) {
        const mox::RecursiveGuard guard(g_obj_hash_mutex);
        // Another thread may have fetched it meanwhile.
        presence = take_known(object_name, &object);
        if (presence == Presence::kUnknown) {
            object = fetch_copy(object_name);
            is_fetched = object != nullptr;
        }
    }
    if (presence == Presence::kMarkedDeleted) {
        pub_debug_print(MX_DBG_DETAIL, "%s: object \"%s\" mark deleted.\n",
                        "_get_object_ptr_option", object_name);
        return nullptr;
    }
    if (presence == Presence::kGone || object == nullptr) {
        report_missing(object_name);
        return nullptr;
    }
    if (is_fetched && (mox::is_writable(*object) || object->type == OBJECT_TYPE_PHYSICAL)) {
        lom_create_has_object(lom_name_to_handle(object->object_name));
    }
    return object;
}

void _add_object_ptr(OBJECT_HEAD_S* object_head, const gchar* key) {
    const mox::TableChangeGuard guard;
    insert_record(object_head, key);
    pub_debug_print(MX_DBG_DETAIL,
                    "::::add object: %p key [%s] object:[%s],class:[%s] pos[%d]::::\n",
                    static_cast<void*>(object_head), key, object_head->object_name,
                    object_head->class_name, static_cast<gint>(object_head->position));
    if (object_head->property_hash == nullptr) {
        make_property_table(object_head);
    }
}

SERIALISED_PROPERTY_S* _get_property_node(OBJECT_HEAD_S* object_head, const gchar* property_name) {
    const LOCAL_PROPERTY_S* local = mox::find_entry(*object_head, property_name);
    return local == nullptr ? nullptr : local->property_ptr;
}

void _copy_object_hashtable(gpointer key, gpointer value, gpointer user_data) {
    gchar* name = g_strdup(static_cast<const gchar*>(key));
    if (name == nullptr) {
        pub_debug_print(MX_DBG_ERR, "%s: g_strdup failed.", "_copy_object_hashtable");
        return;
    }
    auto* object = static_cast<OBJECT_HEAD_S*>(value);
    if (!mox::take_reference(object)) {
        object = nullptr;
    }
    g_hash_table_insert(static_cast<GHashTable*>(user_data), name, object);
}

void _foreach_object_copy(GHFunc func, gpointer user_data) {
    const mox::HashTablePtr snapshot(g_hash_table_new_full(
        g_str_hash, g_str_equal, g_free,
        [](gpointer object) { _object_unref(static_cast<OBJECT_HEAD_S*>(object)); }));
    {
        const mox::RecursiveGuard guard(g_obj_hash_mutex);
        if (g_local_object_hashtable != nullptr) {
            g_hash_table_foreach(g_local_object_hashtable, _copy_object_hashtable, snapshot.get());
        }
    }
    g_hash_table_foreach(snapshot.get(), func, user_data);
}
