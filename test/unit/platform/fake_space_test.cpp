// The fake space allocator keeps the contract and does what the tests that use it ask of it.
#include <gtest/gtest.h>
#include <moxfake/space.h>

#include <algorithm>

namespace {

namespace fake = mox::fake::space;

class FakeSpace : public ::testing::Test {
protected:
    guint64 region_ = 0;
    gpointer space_ = nullptr;

    FakeSpace() {
        fake::reset();
        space_ = shm_creat_space(&region_, 1000, 1);
    }
    ~FakeSpace() override { fake::reset(); }

    gchar* allocate(gsize size) { return static_cast<gchar*>(shm_space_calloc(space_, 1, size)); }
};

TEST_F(FakeSpace, RemembersHowItWasMade) {
    EXPECT_EQ(fake::last_creation().base, &region_);
    EXPECT_EQ(fake::last_creation().size, 1000U);
    EXPECT_EQ(fake::last_creation().locked, 1);
}

TEST_F(FakeSpace, GivesZeroedBlocksAndCountsThem) {
    const gchar* const block = allocate(100);
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(std::all_of(block, block + 100, [](gchar byte) { return byte == 0; }));
    EXPECT_TRUE(fake::is_live(block));
    EXPECT_EQ(fake::size_of(block), 100U);
    EXPECT_EQ(fake::live_blocks(), 1U);
    EXPECT_EQ(fake::live_bytes(), 100U);
    EXPECT_EQ(fake::allocations(), 1U);
}

TEST_F(FakeSpace, ForgetsAReleasedBlock) {
    gchar* const block = allocate(100);
    shm_space_free(space_, block);
    EXPECT_FALSE(fake::is_live(block));
    EXPECT_EQ(fake::live_blocks(), 0U);
    EXPECT_EQ(fake::live_bytes(), 0U);
    EXPECT_EQ(fake::releases(), 1U);
    EXPECT_EQ(fake::bad_releases(), 0U);
}

TEST_F(FakeSpace, RecordsReleasesOfWhatIsNoLiveBlock) {
    gchar* const block = allocate(100);
    gpointer const other = shm_creat_space(&region_, 1000, 1);
    shm_space_free(space_, block + 1);
    shm_space_free(other, block);
    shm_space_free(space_, block);
    shm_space_free(space_, block);
    EXPECT_EQ(fake::bad_releases(), 3U);
    EXPECT_EQ(fake::releases(), 1U);
}

TEST_F(FakeSpace, IgnoresNulls) {
    shm_space_free(space_, nullptr);
    shm_space_free(nullptr, &region_);
    EXPECT_EQ(fake::bad_releases(), 0U);
    EXPECT_EQ(shm_space_calloc(nullptr, 1, 8), nullptr);
    EXPECT_EQ(shm_space_info(nullptr).usmblks, 0U);
}

TEST_F(FakeSpace, FailsTheAllocationThatATestNames) {
    fake::fail_allocation(3);
    EXPECT_NE(allocate(8), nullptr);
    EXPECT_NE(allocate(8), nullptr);
    EXPECT_EQ(allocate(8), nullptr);
    EXPECT_NE(allocate(8), nullptr);
    EXPECT_EQ(fake::failed_allocations(), 1U);
}

TEST_F(FakeSpace, FailsEveryAllocationUntilATestEndsThat) {
    fake::fail_allocations(true);
    EXPECT_EQ(allocate(8), nullptr);
    EXPECT_EQ(allocate(8), nullptr);
    fake::fail_allocations(false);
    EXPECT_NE(allocate(8), nullptr);
}

TEST_F(FakeSpace, FailsTheCreationThatATestNames) {
    fake::fail_creation();
    EXPECT_EQ(shm_creat_space(&region_, 1000, 1), nullptr);
    EXPECT_NE(shm_creat_space(&region_, 1000, 1), nullptr);
}

TEST_F(FakeSpace, IsExhaustedAtItsSize) {
    EXPECT_NE(allocate(600), nullptr);
    EXPECT_EQ(allocate(401), nullptr);
    EXPECT_NE(allocate(400), nullptr);
    EXPECT_EQ(allocate(1), nullptr);
    EXPECT_EQ(shm_space_calloc(space_, G_MAXSIZE, 2), nullptr);
}

TEST_F(FakeSpace, GivesABlockForASizeOfZero) {
    EXPECT_NE(allocate(0), nullptr);
}

TEST_F(FakeSpace, ReportsWhatIsLive) {
    allocate(300);
    const shm_malloc_info info = shm_space_info(space_);
    EXPECT_EQ(info.usmblks, 1000U);
    EXPECT_EQ(info.uordblks, 300U);
    EXPECT_EQ(info.fordblks, 700U);
    EXPECT_EQ(info.ordblks, 1U);
}

TEST_F(FakeSpace, ForgetsEverythingOnReset) {
    allocate(300);
    fake::fail_allocation(1);
    fake::reset();
    EXPECT_EQ(fake::live_blocks(), 0U);
    EXPECT_EQ(fake::allocations(), 0U);
    space_ = shm_creat_space(&region_, 1000, 1);
    EXPECT_NE(allocate(8), nullptr);
}

}  // namespace
