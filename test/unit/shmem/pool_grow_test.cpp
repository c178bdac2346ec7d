// The break-style growth call-back, which never gets past the first segment.
#include <gtest/gtest.h>
#include <shmem.h>
#include <sys/shm.h>

#include <cstdint>

#include "captured_output.hpp"
#include "pool_fixture.hpp"
#include "shmem/pool.hpp"

namespace {

std::uintptr_t grow(gint32 size) {
    return reinterpret_cast<std::uintptr_t>(shm_add_mblock(size));
}

class PoolGrowth : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        g_dlmalloc_top = 0x92000000U;
    }
};

TEST_F(PoolGrowth, BeginsAtTheEstablishedBreakAndKey) {
    EXPECT_EQ(sbrk_top, 0x90800000U);
    EXPECT_EQ(key_id, 0x131232);
}

TEST_F(PoolGrowth, OfNothingReturnsTheCurrentBreak) {
    EXPECT_EQ(grow(0), 0x90800000U);
    grow(0x1000);
    EXPECT_EQ(grow(0), 0x90801000U);
}

TEST_F(PoolGrowth, OfANegativeSizeIsRefusedWithTheAllOnesPointer) {
    EXPECT_EQ(grow(-5), UINTPTR_MAX);
    EXPECT_EQ(grow(G_MININT32), UINTPTR_MAX);
    EXPECT_EQ(sbrk_top, 0x90800000U);
}

TEST_F(PoolGrowth, InsideTheSegmentReturnsTheOldBreakAndMovesIt) {
    EXPECT_EQ(grow(16), 0x90800000U);
    EXPECT_EQ(sbrk_top, 0x90800010U);
    EXPECT_EQ(grow(16), 0x90800010U);
    EXPECT_EQ(g_dlmalloc_top, 0x92000000U);
    EXPECT_EQ(key_id, 0x131232);
}

TEST_F(PoolGrowth, NeedsTheTopToLieAboveTheNewBreak) {
    EXPECT_EQ(grow(0x92000000 - 0x90800000 - 1), 0x90800000U);
    EXPECT_EQ(sbrk_top, 0x91FFFFFFU);
    EXPECT_EQ(grow(1), 0U);
}

TEST_F(PoolGrowth, BeyondTheSegmentGetsNullAndStartsAnewBehindIt) {
    EXPECT_EQ(grow(0x92000000 - 0x90800000), 0U);
    EXPECT_EQ(g_dlmalloc_top, 0x800000U);
    EXPECT_EQ(sbrk_top, 0x1800000U);
    EXPECT_EQ(key_id, 0x131233);
}

TEST_F(PoolGrowth, BeforeAnySegmentGetsNull) {
    g_dlmalloc_top = 0;
    EXPECT_EQ(grow(8), 0U);
    EXPECT_EQ(g_dlmalloc_top, 0x800000U);
    EXPECT_EQ(sbrk_top, 8U);
}

TEST_F(PoolGrowth, NeverMakesASegmentNorSaysSo) {
    mox::test::CapturedSyslog log;
    g_dlmalloc_top = 0;
    EXPECT_EQ(grow(8), 0U);
    EXPECT_EQ(shmget(0x131232, 0, 0), -1);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

// A break that wrapped round the address space would hand out addresses below the pool.
TEST_F(PoolGrowth, OfMoreThanTheAddressSpaceGetsNull) {
    EXPECT_EQ(grow(G_MAXINT32), 0U);
}

}  // namespace
