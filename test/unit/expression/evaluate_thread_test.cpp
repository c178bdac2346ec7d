// Several threads that evaluate at the same time: each gets the results and the messages of its own
// formulas.
#include <expression.h>
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "pool_fixture.hpp"

namespace mox::test {
namespace {

using ConcurrentFormula = PoolFixture;

// How many of the evaluations of a formula gave another result than the given one.
template <typename Expected>
int wrong_results(int rounds, const char* formula, const std::atomic<bool>& is_begun,
                  Expected&& expected_of) {
    int wrong = 0;
    while (!is_begun) std::this_thread::yield();
    for (int round = 0; round < rounds; ++round) {
        GVariant* const value = exp_get_value("d", round, 3, 7, formula);
        if (value == nullptr || g_variant_get_double(value) != expected_of(round)) ++wrong;
        if (value != nullptr) g_variant_unref(value);
    }
    return wrong;
}

TEST_F(ConcurrentFormula, GivesEachThreadTheResultsOfItsOwn) {
    constexpr int kRounds = 20000;
    std::atomic<bool> is_begun{false};
    int wrong_sums = -1;
    int wrong_masks = -1;
    std::thread sums([&] {
        wrong_sums = wrong_results(kRounds, "X * 2 + Y", is_begun,
                                   [](int round) { return round * 2.0 + 3.0; });
    });
    std::thread masks([&] {
        wrong_masks = wrong_results(kRounds, "(X & 255) % Z", is_begun,
                                    [](int round) { return (round & 255) % 7; });
    });
    is_begun = true;
    sums.join();
    masks.join();
    EXPECT_EQ(wrong_sums, 0);
    EXPECT_EQ(wrong_masks, 0);
}

TEST_F(ConcurrentFormula, TellsOfEachWrongOneInItsOwnWords) {
    constexpr int kRounds = 300;
    std::atomic<bool> is_begun{false};
    const auto evaluate_wrong = [&](const char* formula) {
        while (!is_begun) std::this_thread::yield();
        for (int round = 0; round < kRounds; ++round) {
            g_variant_unref(exp_get_value("d", 0, 0, 0, formula));
        }
    };
    CapturedSyslog log;
    stdout_of([&] {
        std::thread first(evaluate_wrong, "X + Apple");
        std::thread second(evaluate_wrong, "Pear / 2");
        is_begun = true;
        first.join();
        second.join();
    });
    const std::string prefix =
        std::string("[ ") + DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m ";
    std::multiset<std::string> texts;
    for (const SyslogLine& line : log.lines()) texts.insert(line.text.substr(prefix.size()));
    EXPECT_EQ(texts.size(), 6U * kRounds);
    EXPECT_EQ(texts.count("wrong format in formula string: X + Apple \n"), 1U * kRounds);
    EXPECT_EQ(texts.count("wrong format in formula string: Pear / 2 \n"), 1U * kRounds);
    EXPECT_EQ(texts.count("Token:    Apple\n"), 1U * kRounds);
    EXPECT_EQ(texts.count("Token:    Pear\n"), 1U * kRounds);
}

}  // namespace
}  // namespace mox::test
