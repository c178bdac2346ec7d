// Allocation in the pool by its owner, and the usage report.
#include <gtest/gtest.h>
#include <shmem.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.hpp"
#include "pool_fixture.hpp"

namespace {

namespace space = mox::fake::space;
using mox::test::become_member;

class PoolBlock : public mox::test::PoolFixture {};

// What the report prints.
std::string dumped() {
    return mox::test::stream_text_of(shm_dump);
}

std::string logged_error(const std::string& text) {
    return std::string("[ ") + mox::test::DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m " +
           text;
}

TEST_F(PoolBlock, IsZeroedAndOfTheSizeAskedFor) {
    auto* block = static_cast<char*>(shm_alloc0(40));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(space::size_of(block), 40U);
    EXPECT_EQ(std::string(block, 40), std::string(40, '\0'));
}

TEST_F(PoolBlock, IsNullInAProcessThatIsNotTheOwnerWithoutAWord) {
    become_member();
    mox::test::CapturedSyslog log;
    EXPECT_EQ(shm_alloc0(8), nullptr);
    EXPECT_EQ(space::allocations() + space::failed_allocations(), 0U);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(PoolBlock, IsNullAndLoggedWhenThePoolIsExhausted) {
    space::fail_allocation(1);
    mox::test::CapturedSyslog log;
    gpointer block = nullptr;
    mox::test::stdout_of([&] { block = shm_alloc0(24); });
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(log.text(), logged_error("alloc share_mem failed, size 24.\n"));
}

TEST_F(PoolBlock, IsGivenBack) {
    gpointer block = shm_alloc0(8);
    shm_free(block);
    EXPECT_FALSE(space::is_live(block));
    EXPECT_EQ(space::releases(), 1U);
}

TEST_F(PoolBlock, IsNotGivenBackByAProcessThatIsNotTheOwner) {
    gpointer block = shm_alloc0(8);
    become_member();
    shm_free(block);
    EXPECT_TRUE(space::is_live(block));
}

TEST_F(PoolBlock, ThatIsNullIsIgnored) {
    shm_free(nullptr);
    EXPECT_EQ(space::releases() + space::bad_releases(), 0U);
}

TEST_F(PoolBlock, CanBeAllocatedAndFreedBySeveralThreads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int n = 0; n < 200; ++n) shm_free(shm_alloc0(16));
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(space::live_blocks(), 0U);
    EXPECT_EQ(space::releases(), 800U);
}

class PoolString : public mox::test::PoolFixture {};

TEST_F(PoolString, OfALongTextIsCutToTheBlock) {
    gchar* copy = shm_strdup("abcdef", 4);
    EXPECT_STREQ(copy, "abc");
    EXPECT_EQ(space::size_of(copy), 4U);
}

TEST_F(PoolString, OfAShortTextTakesOnlyItsOwnRoom) {
    gchar* copy = shm_strdup("ab", 32);
    EXPECT_STREQ(copy, "ab");
    EXPECT_EQ(space::size_of(copy), 3U);
}

TEST_F(PoolString, ThatJustFitsIsWhole) {
    gchar* copy = shm_strdup("abc", 4);
    EXPECT_STREQ(copy, "abc");
    EXPECT_EQ(space::size_of(copy), 4U);
}

TEST_F(PoolString, OfAnEmptyTextIsEmpty) {
    gchar* copy = shm_strdup("", 32);
    EXPECT_STREQ(copy, "");
    EXPECT_EQ(space::size_of(copy), 1U);
}

TEST_F(PoolString, OfOneByteIsEmpty) {
    EXPECT_STREQ(shm_strdup("abc", 1), "");
}

TEST_F(PoolString, OfNoTextOrNoRoomIsNull) {
    EXPECT_EQ(shm_strdup(nullptr, 32), nullptr);
    EXPECT_EQ(shm_strdup("abc", 0), nullptr);
}

TEST_F(PoolString, IsNullWhenThePoolIsExhausted) {
    space::fail_allocation(1);
    mox::test::CapturedSyslog log;
    gchar* copy = nullptr;
    mox::test::stdout_of([&] { copy = shm_strdup("abc", 32); });
    EXPECT_EQ(copy, nullptr);
    EXPECT_TRUE(log.contains("alloc share_mem failed, size 4.\n"));
}

TEST_F(PoolString, IsNullInAProcessThatIsNotTheOwner) {
    become_member();
    EXPECT_EQ(shm_strdup("abc", 32), nullptr);
}

class PoolCopy : public mox::test::PoolFixture {};

TEST_F(PoolCopy, HoldsTheBytes) {
    gpointer copy = shm_memdup("a\0b", 4);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(space::size_of(copy), 4U);
    EXPECT_EQ(std::memcmp(copy, "a\0b", 4), 0);
}

TEST_F(PoolCopy, OfNothingIsNull) {
    EXPECT_EQ(shm_memdup(nullptr, 4), nullptr);
}

TEST_F(PoolCopy, IsNullWhenThePoolIsExhausted) {
    space::fail_allocation(1);
    gpointer copy = nullptr;
    mox::test::stdout_of([&] { copy = shm_memdup("abc", 4); });
    EXPECT_EQ(copy, nullptr);
}

TEST_F(PoolCopy, IsNullInAProcessThatIsNotTheOwner) {
    become_member();
    EXPECT_EQ(shm_memdup("abc", 4), nullptr);
    EXPECT_EQ(space::allocations(), 0U);
}

class PoolReport : public mox::test::PoolFixture {};

TEST_F(PoolReport, PrintsTotalUsedAndFreeBytes) {
    shm_alloc0(1000);
    EXPECT_EQ(dumped(),
              "========================share memory=======================\n"
              "total : 8388608\n"
              "used  : 1000\n"
              "free  : 8387608\n");
}

TEST_F(PoolReport, PrintsNothingBeforeThePoolIsMade) {
    mox::test::forget_pool();
    EXPECT_EQ(dumped(), "");
}

TEST_F(PoolReport, PrintsNothingWithoutAStream) {
    EXPECT_EQ(mox::test::stdout_of([] { shm_dump(nullptr); }), "");
}

}  // namespace
