// moxctl watch with a slow reader, with none, and with one that goes away.
#include <gmock/gmock.h>

#include <algorithm>
#include <regex>

#include "watch_told.hpp"

namespace mox::test {
namespace {

class MoxctlWatch : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(owner_.start(meter_profile())) << owner_.process().errors();
    }

    // Waits until it listens.
    static void expect_heading(WatchProcess& watch) {
        EXPECT_EQ(watch.line(), "TIME          OBJECT  PROPERTY  VALUE") << watch.errors();
    }

    HostOwner owner_;
};

TEST_F(MoxctlWatch, OfThousandsOfEventsASecondLosesNoneUncountedAndDoesNotGrow) {
    constexpr int events = 50000;
    constexpr int read_first = 10000;
    constexpr long most_growth_kb = 8192;  // the values alone are 16000 KB
    WriterProcess writer(owner_);
    WatchProcess watch(owner_, {});
    expect_heading(watch);
    Told told;
    writer.begin(events);
    while (told.shown + told.lost() < read_first) {
        const auto line = watch.line();
        ASSERT_TRUE(line) << watch.errors();
        told.take(*line);
    }
    const long before_kb = watch.memory_kb("VmRSS");
    // From here on nobody reads, until all is written; the queue is emptied all the same.
    int written = writer.finish();
    ASSERT_EQ(written, events);
    read_to_the_end(watch, writer, told, written);
    EXPECT_LT(watch.memory_kb("VmHWM"), before_kb + most_growth_kb);
    watch.signal(SIGTERM);
    for (auto line = watch.line(); line; line = watch.line()) told.take(*line);

    EXPECT_EQ(told.fault, "");
    EXPECT_EQ(told.last, written);
    EXPECT_EQ(told.shown + told.lost(), written);
    EXPECT_GT(told.lost_at_output, 0) << "the reader was not slow enough for this test";
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_EQ(watch.errors(),
              "moxctl: " + std::to_string(told.shown) + " events shown, " +
                  std::to_string(told.lost()) + " lost: " + std::to_string(told.lost_in_queue) +
                  " in the queue, " + std::to_string(told.lost_at_output) + " at the output\n");
}

TEST_F(MoxctlWatch, ThatIsInterruptedShowsWhatItHasAndSaysThatNothingWasLost) {
    WriterProcess writer(owner_);
    WatchProcess watch(owner_, {});
    expect_heading(watch);
    writer.begin(3);
    Told told;
    for (int at = 0; at < 3; ++at) told.take(watch.line().value_or("no line came"));
    watch.signal(SIGINT);
    EXPECT_EQ(watch.line(), std::nullopt);
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_EQ(told.fault, "");
    EXPECT_EQ(watch.errors(), "moxctl: 3 events shown, 0 lost\n");
}

TEST_F(MoxctlWatch, ThatIsInterruptedEndsAlsoWhenNobodyTakesItsOutput) {
    constexpr int events = 10000;
    WriterProcess writer(owner_);
    WatchProcess watch(owner_, {});
    expect_heading(watch);
    writer.begin(events);
    ASSERT_EQ(writer.finish(), events);
    watch.signal(SIGTERM);
    EXPECT_EQ(watch.wait(), 0);
    const std::string errors = watch.errors();
    std::smatch match;
    ASSERT_TRUE(
        std::regex_search(errors, match, std::regex("([0-9]+) events shown, ([0-9]+) lost")))
        << errors;
    EXPECT_GT(std::stoi(match[2]), 0) << errors;
    EXPECT_LE(std::stoi(match[1]) + std::stoi(match[2]), events) << errors;
    EXPECT_THAT(errors, ::testing::HasSubstr("nobody takes the standard output"));
    // It has left the owner, so its queue is gone: nothing is left but the owner's and the
    // writer's.
    EXPECT_TRUE(eventually([] {
        const std::string queues = content_of("/proc/sysvipc/msg");
        return std::count(queues.begin(), queues.end(), '\n') == 3;
    }));
}

TEST_F(MoxctlWatch, WhoseReaderGoesAwayEndsQuietly) {
    WriterProcess writer(owner_);
    WatchProcess watch(owner_, {});
    expect_heading(watch);
    watch.close_output();
    writer.begin(10);
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_EQ(watch.errors(), "");
}

TEST_F(MoxctlWatch, WhoseReaderGoesAwayEndsAlsoWhenNoEventComes) {
    WatchProcess watch(owner_, {});
    expect_heading(watch);
    watch.close_output();
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_EQ(watch.errors(), "");
}

TEST_F(MoxctlWatch, AsJsonGivesALineOfJsonForEachEventAndEachLoss) {
    constexpr int events = 20000;
    WriterProcess writer(owner_);
    WatchProcess watch(owner_, {"--json", "--count", "1"});
    // There is no heading: it listens when a value comes through.
    std::optional<std::string> line;
    for (int tries = 0; tries < 100 && !line; ++tries) {
        writer.begin(1);
        ASSERT_GT(writer.finish(), 0);
        line = watch.line(100);
    }
    ASSERT_TRUE(line) << watch.errors();
    EXPECT_THAT(*line, ::testing::MatchesRegex(
                           "\\{\"time\":\"[0-9-]+T[0-9:]+\\.[0-9]{6}[+-][0-9:]{5}\",\"event\":"
                           "\"changed\",\"object\":\"Meter1\",\"property\":\"Text\",\"type\":\"s\","
                           "\"value\":\"'[0-9]+x+'\"\\}"));
    EXPECT_EQ(watch.line(), std::nullopt);
    EXPECT_EQ(watch.wait(), 0);

    WatchProcess slow(owner_, {"--json"});
    line.reset();
    for (int tries = 0; tries < 100 && !line; ++tries) {
        writer.begin(1);
        ASSERT_GT(writer.finish(), 0);
        line = slow.line(100);
    }
    ASSERT_TRUE(line) << slow.errors();
    writer.begin(events);
    ASSERT_GT(writer.finish(), 0);
    slow.signal(SIGTERM);
    int lost = 0;
    static const std::regex loss("\\{\"lost\":([0-9]+),\"where\":\"(queue|output)\"\\}");
    std::smatch match;
    for (line = slow.line(); line; line = slow.line()) {
        if (std::regex_match(*line, match, loss)) lost += std::stoi(match[1]);
    }
    EXPECT_GT(lost, 0);
    EXPECT_EQ(slow.wait(), 0);
    EXPECT_THAT(slow.errors(), ::testing::HasSubstr(" " + std::to_string(lost) + " lost"));
}

}  // namespace
}  // namespace mox::test
