// Several objects under one semaphore.
#include <gtest/gtest.h>

#include <string>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;
using mox::test::add_object;
using mox::test::delete_object;
using mox::test::make_embryo;
using mox::test::record_of;

osal::Semaphore semaphore_of(const OBJECT_HEAD_S* record) {
    return {record->sem_index, record->semid, record->sem_member};
}
osal::Semaphore semaphore_of(const std::string& name) {
    return semaphore_of(record_of(name));
}

class MutexGroup : public mox::test::ObjectFixture {};

TEST_F(MutexGroup, SharesTheSemaphoreOfItsMutexObject) {
    add_object({.name = "Bus1"});
    add_object({.name = "Fan1", .mutex_object = "Bus1"});
    add_object({.name = "Fan2", .mutex_object = "Bus1"});
    EXPECT_EQ(semaphore_of("Fan1"), semaphore_of("Bus1"));
    EXPECT_EQ(semaphore_of("Fan2"), semaphore_of("Bus1"));
}

TEST_F(MutexGroup, IsLockedAsOne) {
    add_object({.name = "Bus1"});
    const OBJ_HANDLE fan1 = add_object({.name = "Fan1", .mutex_object = "Bus1"});
    const OBJ_HANDLE fan2 = add_object({.name = "Fan2", .mutex_object = "Bus1"});
    ASSERT_EQ(lom_lock_object(fan1), MOX_OK);
    EXPECT_EQ(lom_lock_object(fan2), OSAL_ERR_HELD);
    EXPECT_EQ(lom_lock_object(lom_name_to_handle("Bus1")), OSAL_ERR_HELD);
    EXPECT_EQ(lom_unlock_object(fan2), MOX_OK);
}

TEST_F(MutexGroup, GivesTheEmbryosOwnSemaphoreBack) {
    add_object({.name = "Bus1"});
    OBJECT_HEAD_S* const embryo = make_embryo({.name = "Fan1", .mutex_object = "Bus1"});
    const osal::Semaphore own = semaphore_of(embryo);
    lom_mutex_object(embryo);
    ASSERT_EQ(osal::freed().size(), 1U);
    EXPECT_EQ(osal::freed()[0], own);
    _free_object_head(embryo);
}

TEST_F(MutexGroup, DropsItsReferenceOnTheMutexObject) {
    add_object({.name = "Bus1"});
    OBJECT_HEAD_S* const embryo = make_embryo({.name = "Fan1", .mutex_object = "Bus1"});
    lom_mutex_object(embryo);
    EXPECT_EQ(record_of("Bus1")->ref_count, 1);
    _free_object_head(embryo);
}

TEST_F(MutexGroup, OfNoRecordIsIgnored) {
    lom_mutex_object(nullptr);
    EXPECT_TRUE(osal::freed().empty());
}

TEST_F(MutexGroup, WithoutAMutexObjectIsNone) {
    OBJECT_HEAD_S* const embryo = make_embryo({.name = "Fan1"});
    const osal::Semaphore own = semaphore_of(embryo);
    lom_mutex_object(embryo);
    EXPECT_EQ(semaphore_of(embryo), own);
    EXPECT_TRUE(osal::freed().empty());
    _free_object_head(embryo);
}

int g_fetches = 0;

TEST_F(MutexGroup, WithAMutexObjectThatIsMissingLeavesTheEmbryoItsOwnSemaphoreWithoutAWord) {
    g_fetches = 0;
    lom_set_copy_func([](const gchar*, gsize) -> OBJECT_HEAD_S* {
        ++g_fetches;
        return nullptr;
    });
    OBJECT_HEAD_S* const embryo = make_embryo({.name = "Fan1", .mutex_object = "Bus1"});
    const osal::Semaphore own = semaphore_of(embryo);
    mox::test::CapturedSyslog log;
    lom_mutex_object(embryo);
    EXPECT_EQ(semaphore_of(embryo), own);
    EXPECT_STREQ(embryo->mutex_obj_name, "Bus1");
    EXPECT_TRUE(osal::freed().empty());
    EXPECT_TRUE(log.lines().empty()) << log.text();
    EXPECT_EQ(g_fetches, 0);
    _free_object_head(embryo);
}

// "Bus2" shares the semaphore of "Bus1", and an embryo names "Bus2".
class MutexChain : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        add_object({.name = "Bus1"});
        add_object({.name = "Bus2", .mutex_object = "Bus1"});
        embryo_ = make_embryo({.name = "Fan1", .mutex_object = "Bus2"});
    }
    void TearDown() override {
        _free_object_head(embryo_);
        ObjectFixture::TearDown();
    }
    OBJECT_HEAD_S* embryo_ = nullptr;
};

TEST_F(MutexChain, IsReportedWithItsThreeNames) {
    const std::string message =
        mox::test::error_message("object mutex in queue or cycle, Fan1->Bus2->Bus1.\n");
    mox::test::CapturedSyslog log;
    const std::string output = mox::test::stdout_of([this] { lom_mutex_object(embryo_); });
    EXPECT_EQ(output, message);
    EXPECT_EQ(log.text(), message);
}

TEST_F(MutexChain, SharesTheSemaphoreAtItsEnd) {
    mox::test::stdout_of([this] { lom_mutex_object(embryo_); });
    EXPECT_EQ(semaphore_of(embryo_), semaphore_of("Bus2"));
    EXPECT_EQ(semaphore_of(embryo_), semaphore_of("Bus1"));
}

TEST_F(MutexChain, IsCutAfterOneStep) {
    const gconstpointer name = record_of("Bus2")->mutex_obj_name;
    mox::test::stdout_of([this] { lom_mutex_object(embryo_); });
    EXPECT_EQ(record_of("Bus2")->mutex_obj_name, nullptr);
    EXPECT_FALSE(space::is_live(name));
    EXPECT_STREQ(embryo_->mutex_obj_name, "Bus2");
}

TEST_F(MutexChain, IsReportedOnce) {
    mox::test::stdout_of([this] { lom_mutex_object(embryo_); });
    OBJECT_HEAD_S* const second = make_embryo({.name = "Fan2", .mutex_object = "Bus2"});
    EXPECT_EQ(mox::test::stdout_of([&] { lom_mutex_object(second); }), "");
    EXPECT_EQ(semaphore_of(second), semaphore_of("Bus1"));
    _free_object_head(second);
}

TEST_F(MutexChain, MakesTheMutexObjectAnOwnerOfTheSemaphore) {
    mox::test::stdout_of([this] { lom_mutex_object(embryo_); });
    const osal::Semaphore shared = semaphore_of("Bus2");
    const gsize freed = osal::freed().size();
    delete_object("Bus2");
    ASSERT_EQ(osal::freed().size(), freed + 1);
    EXPECT_EQ(osal::freed().back(), shared);
}

class MutexGroupEnd : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        add_object({.name = "Bus1"});
        add_object({.name = "Fan1", .mutex_object = "Bus1"});
        freed_before_ = osal::freed().size();
    }
    gsize freed_before_ = 0;
};

TEST_F(MutexGroupEnd, OfAMemberLeavesTheSemaphore) {
    delete_object("Fan1");
    EXPECT_EQ(osal::freed().size(), freed_before_);
}

TEST_F(MutexGroupEnd, OfTheMutexObjectFreesTheSemaphore) {
    const osal::Semaphore shared = semaphore_of("Bus1");
    delete_object("Bus1");
    ASSERT_EQ(osal::freed().size(), freed_before_ + 1);
    EXPECT_EQ(osal::freed().back(), shared);
}

TEST_F(MutexGroupEnd, FreesEverySemaphoreOnceAndAllPoolMemory) {
    delete_object("Fan1");
    delete_object("Bus1");
    EXPECT_EQ(osal::freed().size(), osal::created().size());
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
    EXPECT_EQ(space::live_blocks(), 0U);
}

}  // namespace
