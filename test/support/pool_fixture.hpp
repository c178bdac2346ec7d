// A fresh library over the platform fakes for each test: this process owns an empty pool, knows no
// class, no object and no port, and nothing of an earlier test in the same process is left.
//
//   class Listener : public mox::test::PoolFixture {};
//   TEST_F(Listener, ...) { cls_create_class("Fan"); ... }
//
//   become_member();                            the process stops being the pool's owner
//   mox::fake::space::fail_allocation(n);       the n-th pool allocation from here gives null
//   mox::fake::osal::sent()                     the messages that were sent
//
// Every pool block is a heap block of its exact size. The pool has no segment and no address: tests
// that want those call shm_create themselves. The semaphore hooks are the fake layer's. The module
// name is DebugLevel::module(), see captured_output.hpp. A fixture with SetUp and TearDown of its
// own calls these first, or last.
#ifndef MOX_TEST_POOL_FIXTURE_HPP
#define MOX_TEST_POOL_FIXTURE_HPP

#include <gtest/gtest.h>
#include <lom/object.h>
#include <moxfake/osal.h>
#include <moxfake/space.h>
#include <pub.h>
#include <shmem.h>

#include <vector>

#include "captured_output.hpp"
#include "classnode/class_table.hpp"
#include "ipcmsg/message.hpp"
#include "ipcmsg/newobj_event.hpp"
#include "lom/garbage.hpp"
#include "lom/hooks.hpp"
#include "lom/object_table.hpp"
#include "shmem/pool.hpp"

namespace mox::test {

inline void become_owner() {
    g_is_owned_shmem = 1;
}
inline void become_member() {
    g_is_owned_shmem = 0;
}

// Forgets every class of this process. The private records, which the table leaves alone, go here.
inline void forget_classes() {
    if (g_class_hashtable != nullptr) {
        std::vector<PRIVATE_CLASS_DATA_S*> records;
        GHashTableIter iter;
        gpointer value = nullptr;
        g_hash_table_iter_init(&iter, g_class_hashtable);
        while (g_hash_table_iter_next(&iter, nullptr, &value)) {
            auto* const node = static_cast<CLS_HANDLE>(value);
            records.push_back(node->priv);
            // A node without a private record only borrows the shared one.
            if (node->priv == nullptr) node->share = nullptr;
        }
        become_owner();
        g_hash_table_destroy(g_class_hashtable);
        for (PRIVATE_CLASS_DATA_S* record : records) g_free(record);
    }
    g_class_hashtable = nullptr;
    g_share_data_base_addr = nullptr;
}

// Forgets every object of this process and its garbage, as the owner or member that it is now.
inline void forget_objects() {
    if (g_recycle_hashtable != nullptr) {
        g_hash_table_destroy(g_recycle_hashtable);
        g_recycle_hashtable = nullptr;
    }
    if (g_local_object_hashtable != nullptr) {
        g_hash_table_destroy(g_local_object_hashtable);
        g_local_object_hashtable = nullptr;
    }
}

inline void forget_hooks() {
    lom_set_sem_func(nullptr, nullptr);
    lom_set_copy_func(nullptr);
    lom_set_modify_func(nullptr);
    lom_set_override_check_func(nullptr);
    lom_set_remote_get_property_func(nullptr);
    lom_set_remote_save_property_func(nullptr);
    lom_set_remote_get_saved_value_func(nullptr);
}

// The pool's state as it is when a process starts.
inline void forget_pool() {
    m_size = 0;
    g_is_owned_shmem = 0;
    g_dlmalloc_space = nullptr;
    g_dlmalloc_top = 0;
    sbrk_top = 0x90800000U;
    key_id = 0x131232;
    init = 0;
}

class PoolFixture : public ::testing::Test {
protected:
    static constexpr gsize kPoolSize = 8U << 20;

    void SetUp() override {
        forget_all();
        pub_log_init(nullptr, DebugLevel::module());
        shm_owned_shmem();
        // Only a place that is not null: the fake never touches the region.
        g_dlmalloc_space = shm_creat_space(this, kPoolSize, 1);
        lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    }

    void TearDown() override {
        EXPECT_EQ(mox::fake::osal::held(), 0U) << "a semaphore was not released";
        EXPECT_EQ(mox::fake::space::bad_releases(), 0U) << "a block was freed that was not live";
        forget_all();
    }

private:
    static void forget_all() {
        ipc_msg_newobj_free();
        ipc_msg_set_port(0);
        forget_objects();
        forget_classes();
        forget_hooks();
        forget_pool();
        mox::fake::osal::reset();
        mox::fake::space::reset();
    }
};

}  // namespace mox::test

#endif
