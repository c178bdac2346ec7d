// Aliases: other names for objects, each process its own. Classes, names and objects are looked up
// before or after the table is used: the alias lock is never held together with another one.
#include "lom/alias.hpp"

#include <glib/gprintf.h>
#include <lom/alias.h>
#include <lom/registry.h>
#include <moxplat/bounded.h>
#include <pub.h>

#include <cstring>

#include "base/glib_ptr.hpp"
#include "base/mutex_guard.hpp"

GHashTable* g_local_alias_hashtable = nullptr;

// A debugger knows it as g__g_local_alias_hashtable_lock.
G_LOCK_DEFINE_STATIC(g_local_alias_hashtable);

namespace {

constexpr gsize kComparedLength = 32;

struct AliasKey {
    gchar text[41];  // what is longer is cut
};

// Logs a formatter that failed, which leaves the key empty.
void log_format(gint32 result, gint32 line) {
    if (result < 0) {
        pub_debug_print(MX_DBG_LOG, "[%s][%d]: snprintf_s failed ret(%d).\n", "lom", line, result);
    }
}

// The key of an alias of the object's own class. Returns 0, or lom_get_class_name's code.
gint32 key_of_object(OBJ_HANDLE obj_handle, guint32 obj_alias, AliasKey& key) {
    gchar class_name[PUB_NAME_LENGTH];
    const gint32 result = lom_get_class_name(obj_handle, class_name, PUB_NAME_LENGTH);
    if (result == MOX_OK) {
        log_format(snprintf_s(key.text, sizeof(key.text), "%s%s%x", "a:", class_name, obj_alias),
                   __LINE__);
    }
    return result;
}

// The name that a key stands for, or null; a copy, because the table may lose its own at once.
mox::CharPtr name_of_key(const AliasKey& key) {
    const mox::MutexGuard guard(mox::alias_lock());
    return mox::CharPtr(g_local_alias_hashtable == nullptr
                            ? nullptr
                            : g_strdup(static_cast<const gchar*>(
                                  g_hash_table_lookup(g_local_alias_hashtable, key.text))));
}

}  // namespace

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

gint32 lom_bind_alias(OBJ_HANDLE obj_handle, guint32 obj_alias) {
    AliasKey key;
    if (const gint32 result = key_of_object(obj_handle, obj_alias, key); result != MOX_OK) {
        return result;
    }
    const gchar* object_name = lom_get_object_name(obj_handle);
    if (object_name == nullptr) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    const mox::MutexGuard guard(mox::alias_lock());
    if (g_local_alias_hashtable == nullptr) {
        g_local_alias_hashtable = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    }
    mox::CharPtr key_copy(g_strdup(key.text));
    mox::CharPtr name_copy(key_copy ? g_strdup(object_name) : nullptr);
    if (name_copy) {
        g_hash_table_insert(g_local_alias_hashtable, key_copy.release(), name_copy.release());
    }
    return MOX_OK;
}

gint32 lom_unbind_alias(OBJ_HANDLE obj_handle, guint32 obj_alias) {
    AliasKey key;
    if (const gint32 result = key_of_object(obj_handle, obj_alias, key); result != MOX_OK) {
        return result;
    }
    const mox::MutexGuard guard(mox::alias_lock());
    if (g_local_alias_hashtable != nullptr) {
        g_hash_table_remove(g_local_alias_hashtable, key.text);
    }
    return MOX_OK;
}

void lom_unbind_all_alias(OBJ_HANDLE obj_handle) {
    const gchar* object_name = lom_get_object_name(obj_handle);
    if (object_name == nullptr) {
        return;
    }
    gchar compared[kComparedLength + 1];
    g_strlcpy(compared, object_name, sizeof(compared));
    const mox::MutexGuard guard(mox::alias_lock());
    if (g_local_alias_hashtable == nullptr) {
        return;
    }
    g_hash_table_foreach_remove(
        g_local_alias_hashtable,
        [](gpointer, gpointer value, gpointer name) -> gboolean {
            return std::strncmp(static_cast<const gchar*>(value), static_cast<const gchar*>(name),
                                kComparedLength) == 0;
        },
        compared);
}

OBJ_HANDLE lom_get_with_alias(const gchar* class_name, guint32 obj_alias) {
    if (class_name == nullptr) {
        return 0;
    }
    AliasKey key;
    log_format(snprintf_s(key.text, sizeof(key.text), "%s%.*s%x", "a:", 32, class_name, obj_alias),
               __LINE__);
    const mox::CharPtr object_name = name_of_key(key);
    return object_name ? lom_get_object_handle(object_name.get()) : 0;
}

gpointer lom_get_data_with_alias(const gchar* class_name, guint32 obj_alias) {
    return lom_get_binded_data(lom_get_with_alias(class_name, obj_alias));
}
