// The table among threads that look up, replace, delete and traverse at the same time.
#include <classnode.h>
#include <gtest/gtest.h>
#include <lom/lifecycle.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;
using mox::test::add_object;
using mox::test::number;
using mox::test::record_of;

constexpr guint32 kVersions = 300;
constexpr guint32 kDeletions = 2000;
constexpr int kReaders = 3;

void add_version(guint32 version) {
    lom_add_object(mox::test::make_embryo(
        {.name = "Fan1", .position = version, .properties = {number("Speed", "u", version)}}));
}

// Drops the table's reference of an object as one thread of many, which holds it by a lookup.
void drop_from_table(const gchar* name) {
    OBJECT_HEAD_S* const held = _get_object_ptr_option(name, TRUE);
    ASSERT_NE(held, nullptr);
    _object_unref(held);
    _object_unref(held);
}

class TableAmongThreads : public mox::test::ObjectFixture {
protected:
    // Runs the work while the readers go round, in threads of their own, until it has ended.
    static void run_beside(const std::function<void()>& reader, const std::function<void()>& work) {
        std::atomic<bool> is_over = false;
        std::vector<std::thread> readers;
        for (int index = 0; index < kReaders; ++index) {
            readers.emplace_back([&] {
                while (!is_over) reader();
            });
        }
        work();
        is_over = true;
        for (std::thread& thread : readers) thread.join();
    }
};

TEST_F(TableAmongThreads, GivesEveryFinderOneWholeVersionOfAnObjectThatIsReplaced) {
    add_version(0);
    const gsize blocks_of_one = space::live_blocks();
    std::atomic<int> mixed = 0;
    run_beside(
        [&mixed] {
            OBJECT_HEAD_S* const found = _get_object_ptr_option("Fan1", TRUE);
            if (found == nullptr) {
                ++mixed;
                return;
            }
            const SERIALISED_PROPERTY_S* const speed = _get_property_node(found, "Speed");
            if (speed == nullptr ||
                mox::test::stored_bytes(*speed) != mox::test::bytes_of(found->position)) {
                ++mixed;
            }
            _object_unref(found);
        },
        [] {
            for (guint32 version = 1; version <= kVersions; ++version) add_version(version);
        });
    EXPECT_EQ(mixed, 0);
    EXPECT_EQ(lom_get_position(lom_name_to_handle("Fan1")), kVersions);
    EXPECT_EQ(space::live_blocks(), blocks_of_one);
    EXPECT_EQ(osal::freed().size(), kVersions);
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
}

TEST_F(TableAmongThreads, AnswersQuestionsByHandleWhileTheObjectIsReplaced) {
    add_version(0);
    const OBJ_HANDLE fan = lom_name_to_handle("Fan1");
    std::atomic<int> failed = 0;
    run_beside(
        [fan, &failed] {
            gchar name[32];
            if (lom_get_class_name(fan, name, 32) != MOX_OK || std::string(name) != "Fan") ++failed;
            if (lom_get_charged_object(fan, name, 32) != MOX_OK) ++failed;
            if (lom_get_position(fan) > kVersions) ++failed;
            if (lom_get_object_handle("Fan1") != fan) ++failed;
            lom_set_module(fan, name);
            lom_get_module(fan);
            lom_set_writable(fan, OBJECT_READ_WRITE);
        },
        [] {
            for (guint32 version = 1; version <= kVersions; ++version) add_version(version);
        });
    EXPECT_EQ(failed, 0);
}

TEST_F(TableAmongThreads, KeepsTheRecordsOfATraversalWholeWhileTheyAreReplaced) {
    add_version(0);
    add_object({.name = "Fan2"});
    std::atomic<int> wrong = 0;
    run_beside(
        [&wrong] {
            lom_foreach_object(
                [](const gchar* class_name, OBJ_HANDLE, gpointer user_data) {
                    if (std::string(class_name) != "Fan")
                        ++*static_cast<std::atomic<int>*>(user_data);
                },
                &wrong);
        },
        [] {
            for (guint32 version = 1; version <= kVersions; ++version) add_version(version);
        });
    EXPECT_EQ(wrong, 0);
}

TEST_F(TableAmongThreads, FreesAnObjectThatIsDeletedAndMadeAgainOnceEachTime) {
    add_version(0);
    const gsize blocks_of_one = space::live_blocks();
    run_beside([] { _object_unref(_get_object_ptr_option("Fan1", TRUE)); },
               [] {
                   for (guint32 version = 1; version <= kDeletions; ++version) {
                       drop_from_table("Fan1");
                       // A reader may still hold it: it leaves the table with its last reference.
                       while (lom_get_position(lom_name_to_handle("Fan1")) == version - 1) {
                           std::this_thread::yield();
                       }
                       add_version(version);
                   }
               });
    EXPECT_EQ(space::live_blocks(), blocks_of_one);
    EXPECT_EQ(osal::freed().size(), kDeletions);
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
}

// The names get their handles beforehand: GLib grows its table of names under a lock that the
// thread sanitizer does not see.
TEST_F(TableAmongThreads, LetsThreadsAddAndDeleteObjectsOfTheirOwn) {
    std::vector<std::vector<std::string>> names(kReaders + 1);
    for (std::size_t thread = 0; thread < names.size(); ++thread) {
        for (int round = 0; round < 100; ++round) {
            names[thread].push_back("T" + std::to_string(thread) + "-" + std::to_string(round));
            lom_name_to_handle(names[thread].back().c_str());
        }
    }
    std::vector<std::thread> threads;
    for (const std::vector<std::string>& own : names) {
        threads.emplace_back([&own] {
            for (const std::string& name : own) {
                lom_add_object(mox::test::make_embryo({.name = name}));
                lom_foreach_object([](const gchar*, OBJ_HANDLE, gpointer) {}, nullptr);
                drop_from_table(name.c_str());
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(mox::test::all_records().empty());
    EXPECT_EQ(space::live_blocks(), 0U);
    EXPECT_EQ(osal::freed().size(), osal::created().size());
}

std::atomic<int> g_destroyed = 0;

TEST_F(TableAmongThreads, DestroysBoundDataOnceForEveryBinding) {
    add_version(0);
    g_destroyed = 0;
    std::atomic<int> bound = 0;
    const OBJ_HANDLE fan = lom_name_to_handle("Fan1");
    run_beside(
        [fan, &bound] {
            if (lom_bind_data(fan, &bound, [](gpointer) { ++g_destroyed; }) == MOX_OK) ++bound;
            lom_get_binded_data(fan);
        },
        [] {
            for (guint32 version = 1; version <= kVersions; ++version) add_version(version);
        });
    mox::test::delete_object("Fan1");
    EXPECT_EQ(g_destroyed, bound);
}

TEST_F(TableAmongThreads, FetchesAMissingObjectOnce) {
    static std::atomic<int> fetches = 0;
    fetches = 0;
    lom_set_copy_func([](const gchar* name, gsize) -> OBJECT_HEAD_S* {
        ++fetches;
        return mox::test::make_embryo({.name = name});
    });
    std::vector<std::thread> threads;
    std::atomic<int> found = 0;
    for (int thread = 0; thread < kReaders + 1; ++thread) {
        threads.emplace_back([&found] {
            if (lom_get_object_handle("Far1") != 0) ++found;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(fetches, 1);
    EXPECT_EQ(found, kReaders + 1);
}

TEST_F(TableAmongThreads, FreesADeletedObjectOnceThoughSeveralThreadsDeleteIt) {
    constexpr guint32 kRounds = 300;
    add_version(0);
    const gsize blocks_of_one = space::live_blocks();
    const OBJ_HANDLE fan = lom_name_to_handle("Fan1");
    run_beside(
        [fan] {
            gchar name[32];
            lom_get_class_name(fan, name, 32);
            if (lom_get_position(fan) % 2 == 1) lom_delete_object(fan);
        },
        [fan] {
            for (guint32 version = 1; version <= kRounds; ++version) {
                add_version(version);
                lom_delete_object(fan);
                while (lom_get_position(fan) == version) std::this_thread::yield();
            }
        });
    add_version(0);
    EXPECT_EQ(space::live_blocks(), blocks_of_one);
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
}

TEST_F(TableAmongThreads, FreesGarbageOnceThoughItIsHeldAndReclaimedByOthers) {
    constexpr guint32 kRounds = 300;
    cls_create_class("Fan");
    const gsize blocks_of_none = space::live_blocks();
    GHashTable* const unsaved = g_hash_table_new_full(
        g_str_hash, g_str_equal, g_free,
        [](gpointer names) { g_slist_free_full(static_cast<GSList*>(names), g_free); });
    run_beside(
        [] {
            OBJECT_HEAD_S* const held = _get_object_ptr_option("Fan1", TRUE);
            lom_reclaim_garbage();
            lom_batch_unref(5);
            _object_unref(held);
        },
        [unsaved] {
            for (guint32 version = 1; version <= kRounds; ++version) {
                add_version(3);
                if (version % 3 == 0) lom_delete_object(lom_name_to_handle("Fan1"));
                lom_remove_to_garbage(3, unsaved);
            }
        });
    lom_reclaim_garbage();
    g_hash_table_destroy(unsaved);
    EXPECT_EQ(space::live_blocks(), blocks_of_none);
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
}

TEST_F(TableAmongThreads, FreesAnObjectOnceThoughOthersDeleteItWhileItIsReplacedAndRemoved) {
    constexpr guint32 kRounds = 2000;
    cls_create_class("Fan");
    const gsize blocks_of_none = space::live_blocks();
    const OBJ_HANDLE fan = lom_name_to_handle("Fan1");
    GHashTable* const unsaved = g_hash_table_new_full(
        g_str_hash, g_str_equal, g_free,
        [](gpointer names) { g_slist_free_full(static_cast<GSList*>(names), g_free); });
    run_beside(
        [fan] {
            OBJECT_HEAD_S* const held = _get_object_ptr_option("Fan1", TRUE);
            lom_delete_object(fan);
            if (held != nullptr) {
                EXPECT_STREQ(held->object_name, "Fan1");
            }
            _object_unref(held);
        },
        [unsaved] {
            for (guint32 round = 0; round < kRounds; ++round) {
                add_version(3);
                if (round % 2 == 1) lom_remove_to_garbage(3, unsaved);
                lom_reclaim_garbage();
            }
        });
    lom_delete_object(fan);
    lom_reclaim_garbage();
    g_hash_table_destroy(unsaved);
    EXPECT_EQ(space::live_blocks(), blocks_of_none);
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
}

TEST_F(TableAmongThreads, KeepsGarbageOfWhichACopyIsJustBeingMade) {
    constexpr guint32 kRounds = 2000;
    cls_create_class("Fan");
    std::atomic<gint32> next_id = 1;
    std::atomic<int> dangling = 0;
    run_beside(
        [&next_id, &dangling] {
            thread_local const gint32 id = next_id++;
            guint32 size = 0;
            gpointer copy = nullptr;
            if (lom_copy_object("Fan1", &size, &copy, id, FALSE) != MOX_OK) return;
            auto* const record = static_cast<OBJECT_HEAD_S*>(copy);
            std::this_thread::yield();
            if (!space::is_live(record->ref_bitmap)) {
                ++dangling;
            } else {
                lom_clear_reference_bitmap(record->ref_bitmap, id);
            }
            g_free(copy);
        },
        [] {
            GHashTable* const unsaved = g_hash_table_new_full(
                g_str_hash, g_str_equal, g_free,
                [](gpointer names) { g_slist_free_full(static_cast<GSList*>(names), g_free); });
            for (guint32 round = 0; round < kRounds; ++round) {
                add_object({.name = "Fan1", .position = 3});
                lom_remove_to_garbage(3, unsaved);
                lom_reclaim_garbage();
            }
            g_hash_table_destroy(unsaved);
        });
    EXPECT_EQ(dangling, 0);
}

}  // namespace
