// What is written of refusals stays bounded, however often and whatever is asked.
#include "owner/refusal_log.hpp"

#include <gtest/gtest.h>

namespace mox::test {
namespace {

using host::RefusalLog;

constexpr std::int64_t start_us = 1'000'000'000;

class RefusalLines : public ::testing::Test {
protected:
    std::string judge(const std::string& who, const std::string& line, std::int64_t after_us = 0) {
        return log_.judge(who, line, start_us + after_us);
    }

    // How many lines are written of so many different ones.
    int written(const std::string& who, int count, std::int64_t after_us = 0) {
        int lines = 0;
        for (int at = 0; at < count; ++at) {
            lines += judge(who, "line " + std::to_string(at), after_us).empty() ? 0 : 1;
        }
        return lines;
    }

    RefusalLog log_;
};

TEST_F(RefusalLines, AreWrittenOnceARound) {
    EXPECT_EQ(judge("a", "copy of Fan1"), "copy of Fan1");
    EXPECT_EQ(judge("a", "copy of Fan1"), "");
    EXPECT_EQ(judge("a", "copy of Fan1", RefusalLog::round_us - 1), "");
    EXPECT_EQ(judge("a", "copy of Fan1", RefusalLog::round_us), "copy of Fan1");
}

TEST_F(RefusalLines, OfOneModuleDoNotHideThoseOfAnother) {
    EXPECT_EQ(judge("a", "x"), "x");
    EXPECT_EQ(judge("b", "x"), "x");
}

TEST_F(RefusalLines, BeyondTheLimitEndWithOneThatSaysSo) {
    EXPECT_EQ(written("a", static_cast<int>(RefusalLog::most_lines)),
              static_cast<int>(RefusalLog::most_lines));
    EXPECT_NE(judge("a", "one more").find("a goes on"), std::string::npos);
    EXPECT_EQ(written("a", 1000), 0);
    EXPECT_EQ(judge("a", "one more", RefusalLog::round_us), "one more");
}

TEST_F(RefusalLines, OfVeryManyNamesStayBounded) {
    int lines = 0;
    for (int at = 0; at < 10000; ++at) {
        lines += judge("name " + std::to_string(at), "join " + std::to_string(at)).empty() ? 0 : 1;
    }
    EXPECT_LE(lines, static_cast<int>(RefusalLog::most_known + RefusalLog::most_lines + 1));
    EXPECT_GT(lines, static_cast<int>(RefusalLog::most_known));
}

TEST_F(RefusalLines, OfNewNamesAreWrittenAgainInALaterRound) {
    for (int at = 0; at < 1000; ++at) {
        judge("name " + std::to_string(at), "join");
    }
    EXPECT_EQ(judge("late", "join", RefusalLog::round_us), "join");
    EXPECT_EQ(judge("later", "join", RefusalLog::round_us), "join");
}

}  // namespace
}  // namespace mox::test
