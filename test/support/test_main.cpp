// The main of every test program: a System V namespace first, while there is one thread, then the
// tests.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "ipc_namespace.hpp"

int main(int argc, char** argv) {
    ::testing::InitGoogleMock(&argc, argv);
    if (!GTEST_FLAG_GET(list_tests)) {
        const std::string failure = mox::test::enter_ipc_namespace();
        if (!failure.empty()) {
            std::fprintf(stderr, "no System V namespace for the test: %s\n", failure.c_str());
            return 1;
        }
    }
    return RUN_ALL_TESTS();
}
