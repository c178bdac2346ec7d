// Diagnostic output: which level goes where, and the text that it carries.
#include "pub/debug.hpp"

#include <gtest/gtest.h>
#include <moxfake/osal.h>
#include <pub.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.hpp"
#include "fresh_process.hpp"

namespace {

using mox::test::CapturedStdout;
using mox::test::CapturedSyslog;
using mox::test::DebugLevel;
using mox::test::stdout_of;

// Taken before anything else runs; from then on every test of this program has the module name of
// DebugLevel.
const std::string g_first_module_name = g_module_name;
const gboolean g_is_named = pub_log_init(nullptr, DebugLevel::module());

const std::vector<gint32> kAllLevels = {MX_DBG_NULL,   MX_DBG_INFO,     MX_DBG_INSIGHT,
                                        MX_DBG_DETAIL, MX_DBG_MASS,     MX_DBG_BUBBLE,
                                        MX_DBG_LOG,    MX_DBG_INFO_LOG, MX_DBG_ERR};

// The levels whose messages appear on standard output.
std::vector<gint32> shown_levels() {
    std::vector<gint32> shown;
    for (const gint32 level : kAllLevels) {
        if (!stdout_of([level] { pub_debug_print(level, "x"); }).empty()) shown.push_back(level);
    }
    return shown;
}

using Levels = std::vector<gint32>;

// What a message without values looks like on standard output.
std::string printed(gint32 level, const char* text) {
    return stdout_of([level, text] { pub_debug_print(level, "%s", text); });
}

std::string prefix() {
    return std::string("[ ") + DebugLevel::module() + " ] ";
}

class DebugOutput : public ::testing::Test {
protected:
    void SetUp() override {
        pub_log_init(nullptr, DebugLevel::module());
        mox::fake::osal::reset();
    }
    void TearDown() override { std::filesystem::remove_all(DebugLevel::directory()); }
};

TEST(DebugLevels, HaveTheEstablishedNumbers) {
    EXPECT_EQ(kAllLevels, (Levels{0, 1, 2, 3, 4, 5, 16, 17, 21}));
}

TEST_F(DebugOutput, WithoutALevelDirectoryShowsOnlyTheLevelsThatAreAlwaysShown) {
    EXPECT_EQ(shown_levels(), (Levels{1, 17, 21}));
}

TEST_F(DebugOutput, WithAnEntryNamed3ShowsLevelsUpTo3AndTheLogLevel) {
    const DebugLevel level("3");
    EXPECT_EQ(shown_levels(), (Levels{0, 1, 2, 3, 16, 17, 21}));
}

TEST_F(DebugOutput, WithAnEntryNamed5ShowsEveryLevel) {
    const DebugLevel level("5");
    EXPECT_EQ(shown_levels(), kAllLevels);
}

TEST_F(DebugOutput, WithAnEntryNamed1ShowsWhatAnEntryNamed0Shows) {
    DebugLevel level("0");
    EXPECT_EQ(shown_levels(), (Levels{0, 1, 16, 17, 21}));
    level.set("1");
    EXPECT_EQ(shown_levels(), (Levels{0, 1, 16, 17, 21}));
}

TEST_F(DebugOutput, CountsAnEntryThatIsNoNumberAsZero) {
    const DebugLevel level("abc");
    EXPECT_EQ(shown_levels(), (Levels{0, 1, 16, 17, 21}));
}

TEST_F(DebugOutput, CountsTheNumberThatAnEntryBeginsWith) {
    const DebugLevel level("4-verbose");
    EXPECT_EQ(shown_levels(), (Levels{0, 1, 2, 3, 4, 16, 17, 21}));
}

TEST_F(DebugOutput, WithANegativeEntryHidesLevelZeroToo) {
    const DebugLevel level("-1");
    EXPECT_EQ(shown_levels(), (Levels{1, 17, 21}));
}

TEST_F(DebugOutput, SkipsEntriesThatBeginWithADot) {
    DebugLevel level(".5");
    EXPECT_EQ(shown_levels(), (Levels{1, 17, 21}));
    level.add("2");
    EXPECT_EQ(shown_levels(), (Levels{0, 1, 2, 16, 17, 21}));
}

TEST_F(DebugOutput, WithAnEmptyLevelDirectoryShowsOnlyTheLevelsThatAreAlwaysShown) {
    DebugLevel level("5");
    level.clear();
    EXPECT_EQ(shown_levels(), (Levels{1, 17, 21}));
}

TEST_F(DebugOutput, CountsOnlyTheFirstOfSeveralEntries) {
    DebugLevel level("2");
    level.add("4");
    std::string first;
    for (const auto& entry : std::filesystem::directory_iterator(DebugLevel::directory())) {
        if (first.empty()) first = entry.path().filename();
    }
    EXPECT_EQ(pub_env_higher_level(MX_DBG_MASS) != FALSE, first == "4");
    EXPECT_TRUE(pub_env_higher_level(MX_DBG_INSIGHT));
}

TEST_F(DebugOutput, DoesNotLookIntoTheEntry) {
    const DebugLevel level("2");
    std::ofstream(DebugLevel::directory() + "/2") << "5";
    EXPECT_FALSE(pub_env_higher_level(MX_DBG_BUBBLE));
}

TEST_F(DebugOutput, FollowsAChangeOfTheLevelWithTheNextMessage) {
    DebugLevel level("2");
    EXPECT_EQ(printed(MX_DBG_MASS, "x"), "");
    level.set("4");
    EXPECT_NE(printed(MX_DBG_MASS, "x"), "");
    level.set("2");
    EXPECT_EQ(printed(MX_DBG_MASS, "x"), "");
}

TEST_F(DebugOutput, GoesToTheSystemLogAtTheThreeLoggedLevelsWhateverTheDirectorySays) {
    DebugLevel level("5");
    for (const bool is_open : {true, false}) {
        if (!is_open) level.clear();
        Levels logged;
        for (const gint32 each : kAllLevels) {
            CapturedSyslog log;
            stdout_of([each] { pub_debug_print(each, "x"); });
            if (!log.lines().empty()) logged.push_back(each);
        }
        EXPECT_EQ(logged, (Levels{16, 17, 21}));
    }
}

TEST_F(DebugOutput, TakesTheConsoleDecisionFromTheLowFourBits) {
    EXPECT_TRUE(pub_env_higher_level(33));
    EXPECT_FALSE(pub_env_higher_level(37));
    const DebugLevel level("5");
    EXPECT_TRUE(pub_env_higher_level(37));
    EXPECT_FALSE(pub_env_higher_level(38));
}

TEST_F(DebugOutput, IsReportedToTheCallerAsItGoesToTheConsole) {
    EXPECT_FALSE(pub_env_higher_level(MX_DBG_NULL));
    const DebugLevel level("3");
    EXPECT_TRUE(pub_env_higher_level(MX_DBG_DETAIL));
    EXPECT_FALSE(pub_env_higher_level(MX_DBG_MASS));
}

TEST_F(DebugOutput, CarriesTheModuleName) {
    EXPECT_EQ(printed(MX_DBG_INFO, "hello"), prefix() + "hello");
    EXPECT_EQ(printed(MX_DBG_INFO_LOG, "hello"), prefix() + "hello");
}

TEST_F(DebugOutput, OfLevelZeroAndOfTheLogLevelCarriesNoTimeStamp) {
    const DebugLevel level("5");
    mox::fake::osal::set_tick(3723004);
    EXPECT_EQ(printed(MX_DBG_NULL, "hello"), prefix() + "hello");
    EXPECT_EQ(printed(MX_DBG_LOG, "hello"), prefix() + "hello");
}

TEST_F(DebugOutput, OfLevels2To15CarriesTheTimeSinceTheStart) {
    const DebugLevel level("15");
    mox::fake::osal::set_tick(3723004);
    for (const gint32 each : {2, 3, 4, 5, 15}) {
        EXPECT_EQ(printed(each, "hello"), "[ 1:2:3.004 ]" + prefix() + "hello") << each;
    }
}

TEST_F(DebugOutput, CountsItsHoursWithoutAnEnd) {
    const DebugLevel level("2");
    mox::fake::osal::set_tick(360000000UL);
    EXPECT_EQ(printed(MX_DBG_INSIGHT, "x"), "[ 100:0:0.000 ]" + prefix() + "x");
    mox::fake::osal::set_tick(4294967295UL);
    EXPECT_EQ(printed(MX_DBG_INSIGHT, "x"), "[ 1193:2:47.295 ]" + prefix() + "x");
}

TEST_F(DebugOutput, OfAnErrorCarriesARedTagAndNoTimeStamp) {
    mox::fake::osal::set_tick(3723004);
    EXPECT_EQ(printed(MX_DBG_ERR, "hello\n"), prefix() + "\x1b[0;31mERROR:\x1b[0m hello\n");
}

TEST_F(DebugOutput, OfAnErrorGoesToBothOutputsWithTheSameText) {
    CapturedSyslog log;
    const std::string shown = printed(MX_DBG_ERR, "hello\n");
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].text, shown);
}

TEST_F(DebugOutput, ReachesTheSystemLogAsLocal0Debug) {
    CapturedSyslog log;
    stdout_of([] { pub_debug_print(MX_DBG_LOG, "x"); });
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].priority, 135);
}

TEST_F(DebugOutput, TakesAFinishedTextForNoFormat) {
    CapturedSyslog log;
    EXPECT_EQ(printed(MX_DBG_INFO_LOG, "100%n %s %d"), prefix() + "100%n %s %d");
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].format, "%s");
    EXPECT_EQ(log.lines()[0].text, prefix() + "100%n %s %d");
}

TEST_F(DebugOutput, PutsInTheValues) {
    EXPECT_EQ(stdout_of([] { pub_debug_print(MX_DBG_INFO, "%d %s %03x\n", -7, "seven", 10U); }),
              prefix() + "-7 seven 00a\n");
}

TEST_F(DebugOutput, CutsAMessageAt511Characters) {
    const std::string longer(600, 'm');
    const std::string text = printed(MX_DBG_INFO, longer.c_str());
    EXPECT_EQ(text, (prefix() + longer).substr(0, 511));
}

TEST_F(DebugOutput, KeepsAMessageThatJustFits) {
    const std::string fitting(511 - prefix().size(), 'm');
    EXPECT_EQ(printed(MX_DBG_INFO, fitting.c_str()), prefix() + fitting);
}

TEST_F(DebugOutput, TakesAtMost32CharactersOfTheModuleName) {
    const std::string name = "0123456789abcdef0123456789abcdefXYZ";
    pub_log_init(nullptr, name.c_str());
    EXPECT_EQ(printed(MX_DBG_INFO, "x"), "[ 0123456789abcdef0123456789abcdef ] x");
    EXPECT_EQ(printed(MX_DBG_ERR, "x"),
              "[ 0123456789abcdef0123456789abcdef ] \x1b[0;31mERROR:\x1b[0m x");
    pub_log_init(nullptr, DebugLevel::module());
}

// A character that the C locale cannot write makes the formatting fail.
TEST_F(DebugOutput, ThatCannotBeFormattedIsReportedAndStillEmitsItsPrefix) {
    const std::array<wchar_t, 2> impossible{static_cast<wchar_t>(0xDC80), 0};
    CapturedSyslog log;
    const std::string shown =
        stdout_of([&] { pub_debug_print(MX_DBG_INFO_LOG, "%ls\n", impossible.data()); });
    ASSERT_EQ(log.lines().size(), 2U);
    const std::string report = log.lines()[0].text;
    EXPECT_EQ(report.find(prefix() + "[pub]["), 0U) << report;
    EXPECT_NE(report.find("]:vsnprintf_s failed ret(-1).\n"), std::string::npos) << report;
    EXPECT_EQ(log.lines()[1].text, prefix());
    EXPECT_EQ(shown, prefix());
}

TEST_F(DebugOutput, ThatGoesNowhereIsNotFormatted) {
    const std::array<wchar_t, 2> impossible{static_cast<wchar_t>(0xDC80), 0};
    CapturedSyslog log;
    EXPECT_EQ(stdout_of([&] { pub_debug_print(MX_DBG_BUBBLE, "%ls", impossible.data()); }), "");
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST(ModuleName, IsEmptyAtFirst) {
    EXPECT_EQ(g_first_module_name, "");
}

TEST(ModuleName, IsTakenWhateverTheLogPathIs) {
    EXPECT_EQ(g_is_named, TRUE);
    EXPECT_EQ(pub_log_init("/var/log/ignored", DebugLevel::module()), TRUE);
    EXPECT_EQ(g_module_name, DebugLevel::module());
    EXPECT_FALSE(std::filesystem::exists("/var/log/ignored"));
}

TEST(ModuleName, IsKeptByItsAddress) {
    std::string name = "before";
    pub_log_init(nullptr, name.c_str());
    name.replace(0, 6, "behind");
    const std::string text = printed(MX_DBG_INFO, "x");
    pub_log_init(nullptr, DebugLevel::module());
    EXPECT_EQ(text, "[ behind ] x");
}

TEST(ModuleName, ThatIsNullIsTheEmptyOne) {
    EXPECT_EQ(pub_log_init(nullptr, nullptr), TRUE);
    const std::string text = printed(MX_DBG_INFO, "x");
    pub_log_init(nullptr, DebugLevel::module());
    EXPECT_EQ(text, "[  ] x");
}

TEST(LevelPath, LiesBelowTheLevelDirectoryOfAllModules) {
    mox::test::expect_in_fresh_process([] {
        pub_log_init(nullptr, "fan");
        EXPECT_STREQ(file_name, "");
        pub_env_higher_level(MX_DBG_NULL);
        EXPECT_STREQ(file_name, "/tmp/dbglvl/fan");
    });
}

TEST(LevelPath, TakesAtMost32CharactersOfTheModuleName) {
    mox::test::expect_in_fresh_process([] {
        pub_log_init(nullptr, "0123456789abcdef0123456789abcdefXYZ");
        pub_env_higher_level(MX_DBG_NULL);
        EXPECT_STREQ(file_name, "/tmp/dbglvl/0123456789abcdef0123456789abcdef");
    });
}

TEST(LevelPath, IsNotNeededForTheLevelsThatAreAlwaysShown) {
    mox::test::expect_in_fresh_process([] {
        EXPECT_TRUE(pub_env_higher_level(MX_DBG_INFO));
        EXPECT_TRUE(pub_env_higher_level(MX_DBG_INFO_LOG));
        EXPECT_TRUE(pub_env_higher_level(MX_DBG_ERR));
        EXPECT_STREQ(file_name, "");
    });
}

TEST(LevelPath, StaysWhenTheModuleNameChanges) {
    mox::test::expect_in_fresh_process([] {
        const DebugLevel level("3");
        EXPECT_TRUE(pub_env_higher_level(MX_DBG_DETAIL));
        pub_log_init(nullptr, "another-name");
        EXPECT_TRUE(pub_env_higher_level(MX_DBG_DETAIL));
        EXPECT_EQ(std::string(file_name), DebugLevel::directory());
    });
}

TEST(LevelPath, ThatIsNoDirectoryHidesEveryGatedLevel) {
    std::filesystem::create_directories("/tmp/dbglvl");
    std::ofstream(DebugLevel::directory()) << "5";
    EXPECT_FALSE(pub_env_higher_level(MX_DBG_NULL));
    std::filesystem::remove(DebugLevel::directory());
}

TEST(LevelPath, IsBuiltRightByThreadsThatNeedItAtOnce) {
    mox::test::expect_in_fresh_process([] {
        const DebugLevel level("3");
        std::atomic<int> waiting{0};
        std::atomic<int> shown{0};
        CapturedStdout output;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                ++waiting;
                while (waiting < 4) std::this_thread::yield();
                pub_debug_print(MX_DBG_DETAIL, "x\n");
                if (pub_env_higher_level(MX_DBG_DETAIL) && !pub_env_higher_level(MX_DBG_MASS))
                    ++shown;
            });
        }
        for (std::thread& thread : threads) thread.join();
        const std::string line = "[ 0:0:0.000 ]" + prefix() + "x\n";
        EXPECT_EQ(output.take(), line + line + line + line);
        EXPECT_EQ(shown, 4);
        EXPECT_EQ(std::string(file_name), DebugLevel::directory());
    });
}

}  // namespace
