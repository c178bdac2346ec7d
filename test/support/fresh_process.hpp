// A body that needs a process in which nothing has happened yet, such as the first message of a
// process: it runs in a newly started copy of the test program, whose failed assertions fail the
// test here.
//
//   TEST(LevelPath, IsBuiltOnce) {
//       mox::test::expect_in_fresh_process([] { ... EXPECT_EQ(...); });
//   }
//
// Whatever stands before the call in the test, its fixture's SetUp included, runs in the copy as
// well.
#ifndef MOX_TEST_FRESH_PROCESS_HPP
#define MOX_TEST_FRESH_PROCESS_HPP

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

namespace mox::test {

template <typename Body>
void expect_in_fresh_process(Body&& body) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            body();
            std::fflush(stdout);
            _exit(::testing::Test::HasFailure() ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace mox::test

#endif
