// Data of this process bound to an object.
#include <gtest/gtest.h>

#include <vector>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
using mox::test::add_object;
using mox::test::record_of;

// What the destroy functions were called with, and the semaphores held meanwhile.
struct Destroyed {
    gpointer data = nullptr;
    int function = 0;
    gsize semaphores_held = 0;
    bool operator==(const Destroyed&) const = default;
};
std::vector<Destroyed> g_destroyed;

void destroy_first(gpointer data) {
    g_destroyed.push_back({data, 1, osal::held_by_this_thread()});
}
void destroy_second(gpointer data) {
    g_destroyed.push_back({data, 2, osal::held_by_this_thread()});
}

class BoundData : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        g_destroyed.clear();
        fan_ = add_object({.name = "Fan1"});
    }
    OBJ_HANDLE fan_ = 0;
    int first_ = 0;
    int second_ = 0;
};

TEST_F(BoundData, IsNullBeforeItIsBound) {
    EXPECT_EQ(lom_get_binded_data(fan_), nullptr);
}

TEST_F(BoundData, IsFoundByTheObjectsHandle) {
    EXPECT_EQ(lom_bind_data(fan_, &first_, destroy_first), MOX_OK);
    EXPECT_EQ(lom_get_binded_data(fan_), &first_);
    EXPECT_TRUE(g_destroyed.empty());
}

TEST_F(BoundData, OfHandle0OrAnUnknownObjectIsNull) {
    EXPECT_EQ(lom_get_binded_data(0), nullptr);
    EXPECT_EQ(lom_get_binded_data(lom_name_to_handle("Fan2")), nullptr);
}

TEST_F(BoundData, NeedsAHandle) {
    EXPECT_EQ(lom_bind_data(0, &first_, destroy_first), MOX_ERR_BAD_ARGUMENT);
}

TEST_F(BoundData, NeedsData) {
    EXPECT_EQ(lom_bind_data(fan_, nullptr, destroy_first), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(osal::takes(), 0U);
}

TEST_F(BoundData, NeedsAKnownObject) {
    EXPECT_EQ(lom_bind_data(lom_name_to_handle("Fan2"), &first_, destroy_first),
              MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_TRUE(g_destroyed.empty());
}

TEST_F(BoundData, NeedsTheObjectsSemaphore) {
    ASSERT_EQ(lom_bind_data(fan_, &first_, destroy_first), MOX_OK);
    osal::fail_takes_of(record_of("Fan1")->semid, record_of("Fan1")->sem_member);
    EXPECT_EQ(lom_bind_data(fan_, &second_, destroy_second), MOX_ERR_SEMAPHORE);
    EXPECT_EQ(lom_get_binded_data(fan_), &first_);
    EXPECT_TRUE(g_destroyed.empty());
}

TEST_F(BoundData, TakesTheObjectsSemaphoreOnceAndReleasesIt) {
    ASSERT_EQ(lom_bind_data(fan_, &first_, nullptr), MOX_OK);
    const OBJECT_HEAD_S* const record = record_of("Fan1");
    EXPECT_EQ(osal::takes(record->semid, record->sem_member), 1U);
    EXPECT_EQ(osal::releases(record->semid, record->sem_member), 1U);
    EXPECT_EQ(osal::takes(), 1U);
}

TEST_F(BoundData, DropsItsReferenceOnTheRecord) {
    lom_bind_data(fan_, &first_, nullptr);
    lom_get_binded_data(fan_);
    EXPECT_EQ(record_of("Fan1")->ref_count, 1);
}

TEST_F(BoundData, ThatIsReplacedIsDestroyedOnceByItsOwnFunctionUnderTheSemaphore) {
    lom_bind_data(fan_, &first_, destroy_first);
    EXPECT_EQ(lom_bind_data(fan_, &second_, destroy_second), MOX_OK);
    EXPECT_EQ(g_destroyed, (std::vector<Destroyed>{{&first_, 1, 1}}));
    EXPECT_EQ(lom_get_binded_data(fan_), &second_);
    EXPECT_EQ(osal::held(), 0U);
}

TEST_F(BoundData, WithoutAFunctionIsReplacedQuietly) {
    lom_bind_data(fan_, &first_, nullptr);
    EXPECT_EQ(lom_bind_data(fan_, &second_, destroy_second), MOX_OK);
    EXPECT_TRUE(g_destroyed.empty());
    EXPECT_EQ(lom_get_binded_data(fan_), &second_);
}

TEST_F(BoundData, IsNotDestroyedWhereThereIsNone) {
    record_of("Fan1")->destroy_func = destroy_first;
    EXPECT_EQ(lom_bind_data(fan_, &second_, nullptr), MOX_OK);
    EXPECT_TRUE(g_destroyed.empty());
}

TEST_F(BoundData, ThatIsBoundAgainIsDestroyedAsReplaced) {
    lom_bind_data(fan_, &first_, destroy_first);
    EXPECT_EQ(lom_bind_data(fan_, &first_, nullptr), MOX_OK);
    EXPECT_EQ(g_destroyed.size(), 1U);
    mox::test::delete_object("Fan1");
    EXPECT_EQ(g_destroyed.size(), 1U);
}

TEST_F(BoundData, IsDestroyedOnceWithItsObjectWithoutASemaphore) {
    lom_bind_data(fan_, &first_, destroy_first);
    mox::test::delete_object("Fan1");
    EXPECT_EQ(g_destroyed, (std::vector<Destroyed>{{&first_, 1, 0}}));
}

TEST_F(BoundData, ThatReplacedAnotherIsTheOnlyOneDestroyedWithItsObject) {
    lom_bind_data(fan_, &first_, destroy_first);
    lom_bind_data(fan_, &second_, destroy_second);
    g_destroyed.clear();
    mox::test::delete_object("Fan1");
    EXPECT_EQ(g_destroyed, (std::vector<Destroyed>{{&second_, 2, 0}}));
}

}  // namespace
