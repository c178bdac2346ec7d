// The chain of shared class records in the pool. The owner builds and links it while it loads the
// profile; from then on every process reads it without a lock.
#include <pub.h>
#include <shmem.h>

#include "base/published.hpp"
#include "classnode/class_table.hpp"

namespace {

SHARE_CLASS_DATA_S* next_record(const SHARE_CLASS_DATA_S* record) {
    return mox::read_published(record->next);
}

// Guards a walk against links that lead back into the chain: a chain holds fewer records than this.
constexpr guint kMostRecords = 1U << 20;

// Makes this process's node of a shared record. The node comes into the table whole, so a thread
// that finds it there finds the record too; of several threads that attach one class, one node
// stays.
CLS_HANDLE attach_class(const gchar* class_name, SHARE_CLASS_DATA_S* record) {
    CLS_HANDLE node = g_new0(MODULE_CLASS_NODE_S, 1);
    node->share = record;
    if (shm_is_owner()) {
        node->priv = g_new0(PRIVATE_CLASS_DATA_S, 1);
    }
    CLS_HANDLE attached = insert_class(class_name, node);
    if (attached != node) {
        g_free(node->priv);
        g_free(node);
    }
    return attached;
}

}  // namespace

void cls_init_share_data(gpointer share_data_base) {
    if (share_data_base == nullptr) {
        return;
    }
    g_atomic_pointer_compare_and_exchange(&g_share_data_base_addr, nullptr, share_data_base);
    const mox::MutexGuard guard(class_table_lock());
    if (g_class_hashtable == nullptr) {
        return;
    }
    guint seen = 0;
    for (auto* record = static_cast<SHARE_CLASS_DATA_S*>(share_data_base);
         record != nullptr && seen < kMostRecords; record = next_record(record), ++seen) {
        if (record->class_name == nullptr) {
            continue;
        }
        auto* node =
            static_cast<CLS_HANDLE>(g_hash_table_lookup(g_class_hashtable, record->class_name));
        if (node != nullptr) {
            mox::publish(node->share, record);
        }
    }
}

CLS_HANDLE _add_new_class(const gchar* class_name) {
    guint seen = 0;
    for (auto* record = static_cast<SHARE_CLASS_DATA_S*>(cls_get_share_base());
         record != nullptr && seen < kMostRecords; record = next_record(record), ++seen) {
        if (g_strcmp0(class_name, record->class_name) == 0) {
            return attach_class(class_name, record);
        }
    }
    return nullptr;
}

gpointer cls_get_share_base() {
    return g_atomic_pointer_get(&g_share_data_base_addr);
}

void cls_set_parent(CLS_HANDLE class_handle, CLS_HANDLE class_parent) {
    if (class_handle != nullptr && class_parent != nullptr && class_handle->share != nullptr) {
        mox::publish(class_handle->share->parent, class_parent->share);
    }
}

void cls_set_next(CLS_HANDLE class_handle, CLS_HANDLE class_next) {
    if (class_handle != nullptr && class_next != nullptr && class_handle->share != nullptr) {
        mox::publish(class_handle->share->next, class_next->share);
    }
}

gboolean cls_is_type(CLS_HANDLE class_handle, const gchar* class_type) {
    if (class_handle == nullptr || class_type == nullptr) {
        return FALSE;
    }
    guint seen = 0;
    for (const SHARE_CLASS_DATA_S* record = mox::read_published(class_handle->share);
         record != nullptr && seen < kMostRecords;
         record = mox::read_published(record->parent), ++seen) {
        if (g_strcmp0(record->class_name, class_type) == 0) {
            return TRUE;
        }
    }
    return FALSE;
}

gboolean cls_name_is_type(const gchar* class_name, const gchar* class_type) {
    if (class_name == nullptr || class_type == nullptr) {
        return FALSE;
    }
    return g_str_equal(class_name, class_type) ||
           cls_is_type(find_or_attach_class(class_name), class_type);
}

// Gives the class itself, not its parent: settled so, and callers that need the parent read the
// shared record.
CLS_HANDLE cls_get_parent(CLS_HANDLE class_handle) {
    return cls_get_class(cls_get_class_name(class_handle));
}

const gchar* cls_get_class_name(CLS_HANDLE class_handle) {
    const SHARE_CLASS_DATA_S* share =
        class_handle == nullptr ? nullptr : mox::read_published(class_handle->share);
    return share == nullptr ? nullptr : share->class_name;
}
