// Fetching a record from its owner when a lookup does not know it here.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
using mox::test::add_object;
using mox::test::number;
using mox::test::record_of;

constexpr int kFewSeconds = 20;

// What the copy function gives, and what it saw.
struct Fetch {
    OBJECT_HEAD_S* given = nullptr;
    int calls = 0;
    std::string name = {};
    gsize size = 0;
    bool table_is_free = false;
    const gchar* looked_up_meanwhile = nullptr;  // by another thread, while the copy is on its way
    bool was_found_meanwhile = false;
    gsize semaphores_held = 0;
};
Fetch g_fetch;

OBJECT_HEAD_S* give_record(const gchar* object_name, gsize size) {
    ++g_fetch.calls;
    g_fetch.name = object_name;
    g_fetch.size = size;
    g_fetch.table_is_free = mox::test::table_mutex_is_free();
    g_fetch.semaphores_held = osal::held_by_this_thread();
    if (g_fetch.looked_up_meanwhile != nullptr) {
        std::thread([] {
            OBJECT_HEAD_S* const found = _get_object_ptr_option(g_fetch.looked_up_meanwhile, FALSE);
            g_fetch.was_found_meanwhile = found != nullptr;
            _object_unref(found);
        }).join();
    }
    return std::exchange(g_fetch.given, nullptr);
}

class FetchedObject : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        g_fetch = {};
        lom_set_copy_func(give_record);
    }
    void TearDown() override {
        g_free(g_fetch.given);
        ObjectFixture::TearDown();
    }
    // Has the copy function give the record of a new object, as another process would receive it.
    static OBJECT_HEAD_S* offer(const mox::test::ObjectPlan& plan,
                                OBJECT_CAPABILITY capability = OBJECT_READ_ONLY) {
        OBJECT_HEAD_S* const record = mox::test::make_embryo(plan);
        record->status = OBJECT_NORMAL;
        record->capability = capability;
        g_fetch.given = record;
        return record;
    }
    // Looks up anywhere and drops the reference again.
    static OBJECT_HEAD_S* find(const gchar* name) {
        OBJECT_HEAD_S* const found = _get_object_ptr_option(name, FALSE);
        _object_unref(found);
        return found;
    }
};

TEST_F(FetchedObject, IsAskedForByNameAndRecordSize) {
    find("Fan2");
    EXPECT_EQ(g_fetch.calls, 1);
    EXPECT_EQ(g_fetch.name, "Fan2");
    EXPECT_EQ(g_fetch.size, sizeof(OBJECT_HEAD_S));
}

TEST_F(FetchedObject, LeavesTheKnownOnesToOtherThreadsMeanwhile) {
    add_object({.name = "Fan1"});
    g_fetch.looked_up_meanwhile = "Fan1";
    find("Fan2");
    EXPECT_EQ(g_fetch.calls, 1);
    EXPECT_TRUE(g_fetch.was_found_meanwhile);
}

TEST_F(FetchedObject, HasTheTablesReferenceAndTheCallers) {
    OBJECT_HEAD_S* const offered = offer({.name = "Fan1"});
    OBJECT_HEAD_S* const found = _get_object_ptr_option("Fan1", FALSE);
    EXPECT_EQ(found, offered);
    EXPECT_EQ(found->ref_count, 2);
    _object_unref(found);
}

TEST_F(FetchedObject, IsPublishedWithAPropertyTable) {
    offer({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 7)}});
    OBJECT_HEAD_S* const found = find("Fan1");
    EXPECT_EQ(record_of("Fan1"), found);
    EXPECT_EQ(_get_property_node(found, "Speed"), found->property_entry);
}

TEST_F(FetchedObject, IsFetchedOnlyOnce) {
    offer({.name = "Fan1"});
    OBJECT_HEAD_S* const first = find("Fan1");
    EXPECT_EQ(find("Fan1"), first);
    EXPECT_EQ(g_fetch.calls, 1);
}

TEST_F(FetchedObject, IsFetchedUnderTheTablesMutexAndNoSemaphore) {
    offer({.name = "Fan1"});
    find("Fan1");
    EXPECT_FALSE(g_fetch.table_is_free);
    EXPECT_EQ(g_fetch.semaphores_held, 0U);
    EXPECT_TRUE(mox::test::table_mutex_is_free());
}

TEST_F(FetchedObject, ThatTheOwnerDoesNotKnowIsReportedAsMissing) {
    mox::test::DebugLevel level{"3"};
    OBJECT_HEAD_S* found = nullptr;
    const std::string output = mox::test::stdout_of([&] { found = find("Fan2"); });
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(output,
              mox::test::stamped_message("_get_object_ptr_option: object \"Fan2\" not exist.\n"));
    EXPECT_TRUE(mox::test::table_mutex_is_free());
}

TEST_F(FetchedObject, WithoutReferencesIsThrownAwayAndReportedAsMissing) {
    offer({.name = "Fan1"})->ref_count = 0;
    mox::test::DebugLevel level{"3"};
    OBJECT_HEAD_S* found = nullptr;
    const std::string output = mox::test::stdout_of([&] { found = find("Fan1"); });
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(output,
              mox::test::stamped_message("_get_object_ptr_option: object \"Fan1\" not exist.\n"));
    EXPECT_EQ(record_of("Fan1"), nullptr);
}

TEST_F(FetchedObject, WithoutANameIsThrownAway) {
    offer({.name = "Fan1"})->object_name = nullptr;
    EXPECT_EQ(find("Fan1"), nullptr);
    EXPECT_EQ(record_of("Fan1"), nullptr);
}

TEST_F(FetchedObject, ThatIsLogicalAndReadOnlyIsNotMadeKnownToTheDriverLibrary) {
    add_object({.name = "Acc1", .class_name = "Accessor", .object_type = "Physical"});
    offer({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 7, "rw", "Acc1")}});
    find("Fan1");
    EXPECT_TRUE(mox::fake::driver_tables().empty());
}

TEST_F(FetchedObject, ThatIsPhysicalIsMadeKnownToTheDriverLibrary) {
    offer({.name = "Acc1", .class_name = "Accessor", .object_type = "Physical"});
    find("Acc1");
    ASSERT_EQ(mox::fake::driver_tables().size(), 1U);
    EXPECT_EQ(mox::fake::driver_tables()[0].count("Accessor.Acc1"), 1U);
}

TEST_F(FetchedObject, ThatIsWritableHasItsHardwareMadeKnownToTheDriverLibrary) {
    add_object({.name = "Acc1", .class_name = "Accessor", .object_type = "Physical"});
    offer({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 7, "rw", "Acc1")}},
          OBJECT_READ_WRITE);
    find("Fan1");
    ASSERT_EQ(mox::fake::driver_tables().size(), 1U);
    EXPECT_EQ(mox::fake::driver_tables()[0].count("Accessor.Acc1"), 1U);
}

TEST_F(FetchedObject, IsMadeKnownToTheDriverLibraryOnlyWhenItIsFetched) {
    offer({.name = "Acc1", .class_name = "Accessor", .object_type = "Physical"});
    find("Acc1");
    find("Acc1");
    EXPECT_EQ(mox::fake::driver_tables().size(), 1U);
}

// The driver library learns the chip from the accessor's property, whose semaphore the test holds
// meanwhile.
TEST_F(FetchedObject, IsMadeKnownToTheDriverLibraryWithoutTheTablesMutex) {
    const OBJECT_HEAD_S* const accessor = offer({.name = "Acc1",
                                                 .class_name = "Accessor",
                                                 .object_type = "Physical",
                                                 .properties = {mox::test::text("Chip", "")}});
    ASSERT_EQ(osal_process_sem_p(accessor->semid, accessor->sem_member), OSAL_OK);
    std::thread finder([] { find("Acc1"); });
    bool is_published = false;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(kFewSeconds);
    while (!is_published && std::chrono::steady_clock::now() < end) {
        if (g_rec_mutex_trylock(&g_obj_hash_mutex)) {
            is_published = record_of("Acc1") != nullptr;
            g_rec_mutex_unlock(&g_obj_hash_mutex);
        }
        std::this_thread::yield();
    }
    osal_process_sem_v(accessor->semid, accessor->sem_member);
    finder.join();
    EXPECT_TRUE(is_published) << "the mutex was held while the semaphore was waited for";
    EXPECT_EQ(mox::fake::driver_tables().size(), 1U);
}

TEST_F(FetchedObject, HasAHandleForTheCaller) {
    offer({.name = "Fan1"});
    EXPECT_EQ(lom_get_object_handle("Fan1"), lom_name_to_handle("Fan1"));
    EXPECT_EQ(record_of("Fan1")->ref_count, 1);
}

TEST_F(FetchedObject, HasHandle0WhenNobodyKnowsIt) {
    EXPECT_EQ(lom_get_object_handle("Fan2"), 0);
    EXPECT_EQ(g_fetch.calls, 1);
}

TEST_F(FetchedObject, IsNoLongerFetchedWhenTheCopyFunctionIsTakenAway) {
    lom_set_copy_func(nullptr);
    EXPECT_EQ(find("Fan1"), nullptr);
    EXPECT_EQ(g_fetch.calls, 0);
}

}  // namespace
