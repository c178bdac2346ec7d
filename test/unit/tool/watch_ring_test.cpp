// The ring between the thread that takes events and the thread that writes them.
#include <gtest/gtest.h>
#include <watch_ring.hpp>

#include <string>
#include <thread>

namespace mox::tool {
namespace {

constexpr std::size_t head = 8;  // bytes before each text

TEST(WatchRing, GivesTextsBackInTheirOrderWithTheirEvents) {
    WatchRing ring(1000);
    ASSERT_TRUE(ring.push("heading\n", 0));
    ASSERT_TRUE(ring.push("one\n", 1));
    ASSERT_TRUE(ring.push("two lost\nthree\n", 1));
    WatchRing::Batch batch;
    ASSERT_TRUE(ring.take(batch, 1000));
    EXPECT_EQ(batch.text, "heading\none\ntwo lost\nthree\n");
    EXPECT_EQ(batch.events, 2U);
    EXPECT_EQ(ring.used(), 0U);
}

TEST(WatchRing, RefusesAWholeTextWhenThereIsNoRoomAndKeepsTheRest) {
    WatchRing ring(2 * head + 10);
    ASSERT_TRUE(ring.push("12345", 1));
    EXPECT_FALSE(ring.push("123456", 1));
    EXPECT_TRUE(ring.push("67890", 1));
    EXPECT_EQ(ring.used(), ring.size());
    EXPECT_FALSE(ring.push("", 1));
    WatchRing::Batch batch;
    ASSERT_TRUE(ring.take(batch, 1000));
    EXPECT_EQ(batch.text, "1234567890");
    EXPECT_EQ(batch.events, 2U);
}

TEST(WatchRing, TakesWholeTextsUpToAboutTheBatch) {
    WatchRing ring(1000);
    ASSERT_TRUE(ring.push("aaaa", 1));
    ASSERT_TRUE(ring.push("bbbb", 1));
    ASSERT_TRUE(ring.push("cccc", 1));
    WatchRing::Batch batch;
    ASSERT_TRUE(ring.take(batch, 5));
    EXPECT_EQ(batch.text, "aaaabbbb");
    ASSERT_TRUE(ring.take(batch, 1));
    EXPECT_EQ(batch.text, "cccc");
    EXPECT_EQ(batch.events, 1U);
}

TEST(WatchRing, KeepsTextsThatRunOverItsEnd) {
    WatchRing ring(3 * head + 7);
    WatchRing::Batch batch;
    for (int round = 0; round < 100; ++round) {
        const std::string text = "r" + std::to_string(round);
        ASSERT_TRUE(ring.push(text, 1));
        ASSERT_TRUE(ring.push("tail", 1));
        ASSERT_TRUE(ring.take(batch, 1));
        EXPECT_EQ(batch.text, text);
        ASSERT_TRUE(ring.take(batch, 1));
        EXPECT_EQ(batch.text, "tail");
    }
}

TEST(WatchRing, GivesAnEmptyTextWithoutTakingItForTheEnd) {
    WatchRing ring(100);
    ASSERT_TRUE(ring.push("", 0));
    WatchRing::Batch batch;
    EXPECT_TRUE(ring.take(batch, 10));
    ring.close();
    EXPECT_FALSE(ring.take(batch, 10));
}

TEST(WatchRing, ThatIsClosedGivesWhatItHasAndTakesNoMore) {
    WatchRing ring(100);
    ASSERT_TRUE(ring.push("last", 1));
    ring.close();
    EXPECT_FALSE(ring.push("too late", 1));
    WatchRing::Batch batch;
    ASSERT_TRUE(ring.take(batch, 10));
    EXPECT_EQ(batch.text, "last");
    EXPECT_FALSE(ring.take(batch, 10));
}

TEST(WatchRing, PassesEveryTextFromOneThreadToAnother) {
    constexpr int texts = 20000;
    WatchRing ring(4096);
    std::string taken;
    guint64 events = 0;
    std::thread taker([&] {
        WatchRing::Batch batch;
        while (ring.take(batch, 256)) {
            taken += batch.text;
            events += batch.events;
        }
    });
    std::string pushed;
    for (int at = 0; at < texts; ++at) {
        const std::string text = std::to_string(at) + "\n";
        while (!ring.push(text, 1)) std::this_thread::yield();
        pushed += text;
    }
    ring.close();
    taker.join();
    EXPECT_EQ(taken, pushed);
    EXPECT_EQ(events, guint64{texts});
}

}  // namespace
}  // namespace mox::tool
