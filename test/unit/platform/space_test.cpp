// The space allocator over a region of this process.
#include <gtest/gtest.h>
#include <moxplat/space.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "captured_log.hpp"

namespace {

using mox::test::CapturedLog;

constexpr gsize region_bytes = 1U << 20;

// A region of exactly the stated size on the heap, so that a sanitizer sees what leaves it.
class Region {
public:
    explicit Region(gsize bytes = region_bytes)
        : bytes_{bytes}, memory_{std::make_unique<guint64[]>(bytes / sizeof(guint64))} {
        std::memset(memory_.get(), 0xee, bytes);
    }
    gchar* base() { return reinterpret_cast<gchar*>(memory_.get()); }
    gsize bytes() const { return bytes_; }

private:
    gsize bytes_;
    std::unique_ptr<guint64[]> memory_;
};

class SpaceTest : public ::testing::Test {
protected:
    Region region_;
    gpointer space_ = shm_creat_space(region_.base(), region_.bytes(), 1);

    gchar* allocate(gsize size) { return static_cast<gchar*>(shm_space_calloc(space_, 1, size)); }
    guint32 used() { return shm_space_info(space_).uordblks; }

    // Fills the space with blocks of one size.
    std::vector<gchar*> exhaust(gsize size) {
        std::vector<gchar*> blocks;
        while (gchar* const block = allocate(size)) blocks.push_back(block);
        return blocks;
    }
};

using Space = SpaceTest;
using SpaceRelease = SpaceTest;
using SpaceInfo = SpaceTest;

bool is_zero(const gchar* block, gsize size) {
    return std::all_of(block, block + size, [](gchar byte) { return byte == 0; });
}

TEST_F(Space, GivesZeroedBlocks) {
    gchar* const block = allocate(1000);
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(is_zero(block, 1000));
}

TEST_F(Space, ZeroesABlockThatWasUsedBefore) {
    gchar* const first = allocate(1000);
    std::memset(first, 0x55, 1000);
    shm_space_free(space_, first);
    gchar* const second = allocate(1000);
    ASSERT_EQ(second, first);
    EXPECT_TRUE(is_zero(second, 1000));
}

TEST_F(Space, MultipliesCountAndSize) {
    auto* const block = static_cast<gchar*>(shm_space_calloc(space_, 10, 100));
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(is_zero(block, 1000));
    gchar* const next = allocate(1);
    EXPECT_TRUE(next >= block + 1000 || next < block);
}

TEST_F(Space, AlignsBlocksToEightBytesInsideTheRegion) {
    for (gsize size = 1; size < 100; ++size) {
        gchar* const block = allocate(size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<guintptr>(block) % 8, 0U);
        EXPECT_GE(block, region_.base());
        EXPECT_LE(block + size, region_.base() + region_.bytes());
    }
}

TEST_F(Space, GivesDistinctBlocksForASizeOfZero) {
    gpointer const first = shm_space_calloc(space_, 1, 0);
    gpointer const second = shm_space_calloc(space_, 0, 8);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(second, nullptr);
    EXPECT_NE(first, second);
}

TEST_F(Space, ReturnsNullWhenItIsExhaustedAndServesAgainAfterARelease) {
    const std::vector<gchar*> blocks = exhaust(1000);
    EXPECT_GT(blocks.size(), region_bytes / 1000 * 9 / 10);
    shm_space_free(space_, blocks[blocks.size() / 2]);
    EXPECT_NE(allocate(1000), nullptr);
    EXPECT_EQ(allocate(1000), nullptr);
}

TEST_F(Space, JoinsReleasedNeighbours) {
    for (gchar* const block : exhaust(1000)) shm_space_free(space_, block);
    EXPECT_NE(allocate(region_bytes * 9 / 10), nullptr);
}

TEST_F(Space, RefusesRequestsThatCanNeverFit) {
    EXPECT_EQ(allocate(region_bytes), nullptr);
    EXPECT_EQ(allocate(region_bytes + 1), nullptr);
    EXPECT_EQ(allocate(G_MAXSIZE), nullptr);
    EXPECT_EQ(allocate(G_MAXSIZE - 7), nullptr);
}

TEST_F(Space, RefusesAProductThatOverflows) {
    EXPECT_EQ(shm_space_calloc(space_, G_MAXSIZE / 4 + 1, 4), nullptr);
    EXPECT_EQ(shm_space_calloc(space_, G_MAXSIZE, G_MAXSIZE), nullptr);
}

TEST_F(Space, RefusesANullHandle) {
    EXPECT_EQ(shm_space_calloc(nullptr, 1, 8), nullptr);
}

TEST_F(SpaceRelease, OfABlockTwiceIsRefusedWithALogLine) {
    gchar* const block = allocate(64);
    gchar* const neighbour = allocate(64);
    std::memset(neighbour, 0x77, 64);
    shm_space_free(space_, block);
    const guint32 before = used();
    CapturedLog log;
    shm_space_free(space_, block);
    EXPECT_EQ(log.count("moxplat-space: "), 1U);
    EXPECT_EQ(used(), before);
    EXPECT_EQ(neighbour[0], 0x77);
}

TEST_F(SpaceRelease, OfAForeignPointerIsRefusedWithALogLine) {
    gchar* const block = allocate(64);
    guint64 elsewhere = 0;
    const guint32 before = used();
    CapturedLog log;
    shm_space_free(space_, block + 8);
    shm_space_free(space_, block + 1);
    shm_space_free(space_, &elsewhere);
    shm_space_free(space_, region_.base());
    shm_space_free(space_, region_.base() + region_.bytes());
    shm_space_free(space_, region_.base() - 8);
    EXPECT_EQ(log.lines().size(), 6U);
    EXPECT_EQ(used(), before);
}

TEST_F(SpaceRelease, OfAnotherSpacesBlockIsRefused) {
    Region other_region;
    gpointer const other = shm_creat_space(other_region.base(), other_region.bytes(), 1);
    gpointer const block = shm_space_calloc(other, 1, 64);
    CapturedLog log;
    shm_space_free(space_, block);
    EXPECT_EQ(log.lines().size(), 1U);
    shm_space_free(other, block);
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(SpaceRelease, OfNullIsIgnored) {
    CapturedLog log;
    shm_space_free(space_, nullptr);
    shm_space_free(nullptr, allocate(8));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SpaceInfo, AddsUpToTheRegion) {
    for (int i = 0; i < 10; ++i) {
        const shm_malloc_info info = shm_space_info(space_);
        EXPECT_EQ(info.usmblks, region_bytes);
        EXPECT_EQ(info.uordblks + info.fordblks, region_bytes);
        EXPECT_EQ(info.ordblks, static_cast<guint32>(i));
        ASSERT_NE(allocate(500), nullptr);
    }
}

TEST_F(SpaceInfo, CountsABlockWithItsOverheadAndForgetsItWhenReleased) {
    const guint32 before = used();
    gchar* const block = allocate(1000);
    EXPECT_GE(used(), before + 1000);
    EXPECT_LE(used(), before + 1000 + 64);
    shm_space_free(space_, block);
    EXPECT_EQ(used(), before);
}

TEST_F(SpaceInfo, NamesTheLargestBlockThatCanBeHad) {
    // Holes of several sizes, the last free stretch being one of them.
    std::vector<gchar*> blocks;
    for (int i = 0; i < 40; ++i) blocks.push_back(allocate(static_cast<gsize>(100 + 10 * i)));
    for (gsize i = 0; i < blocks.size(); i += 2) shm_space_free(space_, blocks[i]);
    const shm_malloc_info before = shm_space_info(space_);
    ASSERT_GT(before.keepcost, 0U);
    EXPECT_EQ(allocate(gsize{before.keepcost} + 1), nullptr);
    gchar* const block = allocate(before.keepcost);
    ASSERT_NE(block, nullptr);
    EXPECT_LT(shm_space_info(space_).keepcost, before.keepcost);
    shm_space_free(space_, block);
    EXPECT_EQ(shm_space_info(space_).keepcost, before.keepcost);
    EXPECT_EQ(shm_space_info(space_).uordblks, before.uordblks);
}

TEST_F(SpaceInfo, HasNoLargestBlockInAFullSpace) {
    exhaust(8);
    EXPECT_EQ(shm_space_info(space_).keepcost, 0U);
}

TEST_F(SpaceInfo, IsAllZerosForANullHandle) {
    const shm_malloc_info info = shm_space_info(nullptr);
    EXPECT_EQ(info.usmblks, 0U);
    EXPECT_EQ(info.uordblks, 0U);
}

TEST(SpaceCreation, RefusesRegionsThatCannotBeUsed) {
    Region region;
    CapturedLog log;
    EXPECT_EQ(shm_creat_space(nullptr, region_bytes, 1), nullptr);
    EXPECT_EQ(shm_creat_space(region.base() + 4, region_bytes - 8, 1), nullptr);
    EXPECT_EQ(shm_creat_space(region.base(), 0, 1), nullptr);
    EXPECT_EQ(shm_creat_space(region.base(), 16, 1), nullptr);
    EXPECT_EQ(log.count("no space made"), 4U);
}

TEST(SpaceCreation, WorksForEverySmallRegionThatItAccepts) {
    for (gsize bytes = 8; bytes <= 1024; bytes += 8) {
        Region region{bytes};
        CapturedLog log;
        gpointer const space = shm_creat_space(region.base(), bytes, 0);
        EXPECT_EQ(space == nullptr, log.lines().size() == 1U);
        while (gpointer const block = shm_space_calloc(space, 1, 8)) std::memset(block, 0xff, 8);
    }
}

// One live block of the random test: its bytes all hold `mark`.
struct Marked {
    gchar* block;
    gsize size;
    gchar mark;

    bool intact() const {
        return std::all_of(block, block + size, [this](gchar byte) { return byte == mark; });
    }
};

TEST_F(Space, KeepsEveryBlockIntactThroughRandomOperations) {
    std::mt19937 random{20261120};
    std::vector<Marked> live;
    const guint32 empty = used();
    for (int step = 0; step < 100000; ++step) {
        const bool grow = random() % 100 < 52;
        if (grow) {
            const gsize size = random() % 10 == 0 ? random() % 5000 : random() % 200;
            gchar* const block = allocate(size);
            if (block == nullptr) continue;
            ASSERT_TRUE(is_zero(block, size)) << "step " << step;
            const auto mark = static_cast<gchar>(random() % 100 + 1);
            std::memset(block, mark, size);
            live.push_back({block, size, mark});
        } else if (!live.empty()) {
            std::swap(live[random() % live.size()], live.back());
            ASSERT_TRUE(live.back().intact()) << "step " << step;
            shm_space_free(space_, live.back().block);
            live.pop_back();
        }
    }
    for (const Marked& marked : live) {
        EXPECT_TRUE(marked.intact());
        shm_space_free(space_, marked.block);
    }
    EXPECT_EQ(used(), empty);
    EXPECT_NE(allocate(region_bytes * 9 / 10), nullptr);
}

TEST_F(Space, ServesSeveralThreadsAtOnce) {
    const guint32 empty = used();
    std::vector<std::thread> threads;
    for (int thread = 1; thread <= 4; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 2000; ++i) {
                const Marked marked{allocate(100), 100, static_cast<gchar>(thread)};
                ASSERT_NE(marked.block, nullptr);
                std::memset(marked.block, marked.mark, marked.size);
                std::this_thread::yield();
                ASSERT_TRUE(marked.intact());
                shm_space_free(space_, marked.block);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(used(), empty);
}

}  // namespace
