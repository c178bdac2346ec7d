// The bits of the modules that hold a copy of a record.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "object_fixture.hpp"

namespace {

using Words = std::array<guint32, 4>;

constexpr Words kNone = {0, 0, 0, 0};
constexpr Words kAll = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF};
constexpr gint32 kForeignIds[] = {0, 128, 129, -1, -32, G_MAXINT32, G_MININT32};

Words set_in(Words words, gint32 id) {
    lom_set_reference_bitmap(words.data(), id);
    return words;
}
Words cleared_in(Words words, gint32 id) {
    lom_clear_reference_bitmap(words.data(), id);
    return words;
}

TEST(ReferenceBit, LiesInItsWordAtTheRestOf32) {
    EXPECT_EQ(set_in(kNone, 1), (Words{0x2, 0, 0, 0}));
    EXPECT_EQ(set_in(kNone, 3), (Words{0x8, 0, 0, 0}));
    EXPECT_EQ(set_in(kNone, 31), (Words{0x80000000, 0, 0, 0}));
    EXPECT_EQ(set_in(kNone, 32), (Words{0, 0x1, 0, 0}));
    EXPECT_EQ(set_in(kNone, 64), (Words{0, 0, 0x1, 0}));
    EXPECT_EQ(set_in(kNone, 127), (Words{0, 0, 0, 0x80000000}));
}

TEST(ReferenceBit, IsClearedAlone) {
    EXPECT_EQ(cleared_in(kAll, 1), (Words{0xFFFFFFFD, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}));
    EXPECT_EQ(cleared_in(kAll, 32), (Words{0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFF}));
    EXPECT_EQ(cleared_in(kAll, 127), (Words{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0x7FFFFFFF}));
}

TEST(ReferenceBit, IsSetBesideOthers) {
    EXPECT_EQ(set_in({0x100, 0, 0, 0x4}, 1), (Words{0x102, 0, 0, 0x4}));
}

TEST(ReferenceBit, StaysSetWhenItIsSetAgainAndClearWhenItIsClearedAgain) {
    EXPECT_EQ(set_in({0x2, 0, 0, 0}, 1), (Words{0x2, 0, 0, 0}));
    EXPECT_EQ(cleared_in(kNone, 1), kNone);
}

TEST(ReferenceBit, OfAnIdOutside1To127IsNeitherSetNorClearedInTheBitmapOrBesideIt) {
    for (const gint32 id : kForeignIds) {
        std::array<guint32, 12> clear = {};
        lom_set_reference_bitmap(clear.data() + 4, id);
        EXPECT_EQ(clear, (std::array<guint32, 12>{})) << id;
        std::array<guint32, 12> full;
        full.fill(0xFFFFFFFF);
        const std::array<guint32, 12> before = full;
        lom_clear_reference_bitmap(full.data() + 4, id);
        EXPECT_EQ(full, before) << id;
    }
}

TEST(ReferenceBit, ReachesEveryIdFrom1To127Once) {
    Words words = kNone;
    for (gint32 id = 1; id <= 127; ++id) words = set_in(words, id);
    EXPECT_EQ(words, (Words{0xFFFFFFFE, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}));
    for (gint32 id = 1; id <= 127; ++id) words = cleared_in(words, id);
    EXPECT_EQ(words, kNone);
}

TEST(ReferenceBit, OfNoBitmapIsIgnored) {
    lom_set_reference_bitmap(nullptr, 5);
    lom_clear_reference_bitmap(nullptr, 5);
}

TEST(ReferenceBit, OfEachOfManyThreadsIsNotLostToTheOthersInItsWord) {
    constexpr gint32 kThreads = 4;
    constexpr int kRounds = 20000;
    Words words = kNone;
    std::atomic<gint32> ready = 0;
    std::atomic<int> lost = 0;
    const auto is_set = [&words](gint32 id) {
        return (static_cast<guint32>(g_atomic_int_get(words.data())) & (1U << id)) != 0;
    };
    std::vector<std::thread> threads;
    for (gint32 id = 1; id <= kThreads; ++id) {
        threads.emplace_back([&, id] {
            for (++ready; ready < kThreads;) std::this_thread::yield();
            for (int round = 0; round < kRounds; ++round) {
                lom_set_reference_bitmap(words.data(), id);
                if (!is_set(id)) ++lost;
                lom_clear_reference_bitmap(words.data(), id);
                if (is_set(id)) ++lost;
            }
            lom_set_reference_bitmap(words.data(), id);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(words, (Words{0x1E, 0, 0, 0}));
}

class OwnBitmapId : public mox::test::ObjectFixture {};

TEST_F(OwnBitmapId, IsWhatWasSet) {
    lom_set_bitmap_id(9);
    EXPECT_EQ(g_bitmap_id, 9);
}

}  // namespace
