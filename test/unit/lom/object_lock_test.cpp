// An object's semaphore in a caller's hands.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
using mox::test::add_object;
using mox::test::record_of;

class ObjectLock : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        add_object({.name = "Fan1"});
        fan_ = add_object({.name = "Fan2"});
    }
    static bool is_held(const char* name) {
        return osal::is_held(record_of(name)->semid, record_of(name)->sem_member);
    }
    OBJ_HANDLE fan_ = 0;
};

TEST_F(ObjectLock, TakesTheObjectsSemaphoreUntilItIsUnlocked) {
    EXPECT_EQ(lom_lock_object(fan_), MOX_OK);
    EXPECT_TRUE(is_held("Fan2"));
    EXPECT_FALSE(is_held("Fan1"));
    EXPECT_EQ(lom_unlock_object(fan_), MOX_OK);
    EXPECT_FALSE(is_held("Fan2"));
}

TEST_F(ObjectLock, OfAnUnknownObjectIsNotFound) {
    EXPECT_EQ(lom_lock_object(lom_name_to_handle("Fan3")), MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_EQ(lom_unlock_object(lom_name_to_handle("Fan3")), MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_EQ(lom_lock_object(0), MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_EQ(lom_unlock_object(0), MOX_ERR_OBJECT_NOT_FOUND);
}

int g_fetches = 0;

TEST_F(ObjectLock, NeverAsksTheOwnerForTheObject) {
    g_fetches = 0;
    lom_set_copy_func([](const gchar*, gsize) -> OBJECT_HEAD_S* {
        ++g_fetches;
        return nullptr;
    });
    lom_lock_object(lom_name_to_handle("Fan3"));
    lom_unlock_object(lom_name_to_handle("Fan3"));
    EXPECT_EQ(g_fetches, 0);
}

TEST_F(ObjectLock, GivesTheCodeOfAFailedTakeUnchanged) {
    osal::fail_take(1, -1234);
    EXPECT_EQ(lom_lock_object(fan_), -1234);
    EXPECT_FALSE(is_held("Fan2"));
}

TEST_F(ObjectLock, GivesTheCodeOfAFailedReleaseUnchanged) {
    EXPECT_EQ(lom_unlock_object(fan_), OSAL_ERR_NOT_HELD);
}

TEST_F(ObjectLock, IsNotRecursive) {
    ASSERT_EQ(lom_lock_object(fan_), MOX_OK);
    EXPECT_EQ(lom_lock_object(fan_), OSAL_ERR_HELD);
    EXPECT_EQ(lom_unlock_object(fan_), MOX_OK);
}

TEST_F(ObjectLock, HoldsNoReferenceAndNotTheTable) {
    ASSERT_EQ(lom_lock_object(fan_), MOX_OK);
    EXPECT_EQ(record_of("Fan2")->ref_count, 1);
    EXPECT_TRUE(mox::test::table_mutex_is_free());
    lom_unlock_object(fan_);
    EXPECT_EQ(record_of("Fan2")->ref_count, 1);
}

TEST_F(ObjectLock, MakesAnotherThreadWait) {
    std::atomic<bool> is_unlocked = false;
    std::atomic<bool> came_through_early = false;
    ASSERT_EQ(lom_lock_object(fan_), MOX_OK);
    std::thread other([&] {
        EXPECT_EQ(lom_lock_object(fan_), MOX_OK);
        came_through_early = !is_unlocked;
        EXPECT_EQ(lom_unlock_object(fan_), MOX_OK);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    is_unlocked = true;
    EXPECT_EQ(lom_unlock_object(fan_), MOX_OK);
    other.join();
    EXPECT_FALSE(came_through_early);
}

}  // namespace
