// Each process finds classes by name in a table of its own. Classes are only ever added: a handle
// lives as long as the process.
#include "classnode/class_table.hpp"

#include <pub.h>
#include <shmem.h>

#include "base/published.hpp"

GHashTable* g_class_hashtable = nullptr;
gpointer g_share_data_base_addr = nullptr;

G_LOCK_DEFINE_STATIC(g_class_hashtable);

namespace {

constexpr gsize kNameLength = PUB_NAME_LENGTH;

// The owner's part of a new class: its shared and its private record.
bool make_owner_records(MODULE_CLASS_NODE_S* node, const gchar* class_name) {
    node->share = static_cast<SHARE_CLASS_DATA_S*>(shm_alloc0(sizeof(SHARE_CLASS_DATA_S)));
    if (node->share == nullptr) {
        return false;
    }
    node->priv = g_new0(PRIVATE_CLASS_DATA_S, 1);
    node->share->class_name = shm_strdup(class_name, kNameLength);
    return true;
}

// Takes back a node that never came into the table, with its records.
void discard(CLS_HANDLE node) {
    g_free(node->priv);
    node->priv = nullptr;
    _free_class(node);
}

}  // namespace

GMutex& class_table_lock() {
    return G_LOCK_NAME(g_class_hashtable);
}

CLS_HANDLE insert_class(const gchar* class_name, CLS_HANDLE node) {
    const mox::MutexGuard guard(class_table_lock());
    if (g_class_hashtable == nullptr) {
        mox::publish(g_class_hashtable,
                     g_hash_table_new_full(g_str_hash, g_str_equal, g_free, _free_class));
    }
    auto* known = static_cast<CLS_HANDLE>(g_hash_table_lookup(g_class_hashtable, class_name));
    if (known != nullptr) {
        return known;
    }
    g_hash_table_insert(g_class_hashtable, g_strdup(class_name), node);
    return node;
}

CLS_HANDLE cls_create_class(const gchar* class_name) {
    if (class_name == nullptr) {
        return nullptr;
    }
    CLS_HANDLE node = nullptr;
    bool is_known = cls_get_class(class_name) != nullptr;
    if (!is_known) {
        node = g_new0(MODULE_CLASS_NODE_S, 1);
        if (shm_is_owner() && !make_owner_records(node, class_name)) {
            g_free(node);
            return nullptr;
        }
        is_known = insert_class(class_name, node) != node;
    }
    if (is_known) {
        pub_debug_print(MX_DBG_ERR, "duplicated class \"%s\" in class profile.\n", class_name);
        if (node != nullptr) {
            discard(node);  // another thread was faster
        }
        return nullptr;
    }
    if (node->share != nullptr) {
        g_atomic_pointer_compare_and_exchange(&g_share_data_base_addr, nullptr,
                                              static_cast<gpointer>(node->share));
    }
    return node;
}

void _free_class(gpointer class_handle) {
    auto* node = static_cast<CLS_HANDLE>(class_handle);
    if (node == nullptr) {
        return;
    }
    if (shm_is_owner()) {
        if (node->share != nullptr) {
            shm_free(node->share->class_name);
            shm_free(node->share);
        }
        if (node->priv != nullptr) {
            g_slist_free(node->priv->object_list);
            g_slist_free(node->priv->new_object_list);
        }
    }
    g_free(node);
}

CLS_HANDLE cls_get_class(const gchar* class_name) {
    if (class_name == nullptr) {
        return nullptr;
    }
    const mox::MutexGuard guard(class_table_lock());
    return known_class(class_name);
}

gboolean cls_is_exist(const gchar* class_name) {
    GHashTable* table = mox::read_published(g_class_hashtable);
    return class_name != nullptr && table != nullptr && g_hash_table_contains(table, class_name);
}

void cls_class_foreach(GHFunc func, gpointer user_data) {
    GHashTable* table = mox::read_published(g_class_hashtable);
    if (table != nullptr) {
        g_hash_table_foreach(table, func, user_data);
    }
}

CLS_HANDLE find_or_attach_class(const gchar* class_name) {
    CLS_HANDLE found = cls_get_class(class_name);
    return found != nullptr ? found : _add_new_class(class_name);
}
