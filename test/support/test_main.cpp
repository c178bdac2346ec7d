// The main of every test program: a System V namespace and the value types' lock first, while there
// is one thread, then the tests.
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "ipc_namespace.hpp"

namespace {

// The lock of the container types is made at its first use, by an exchange inside a library that
// was built without the race detector: a second thread's first use would look like a race.
void make_type_lock() {
    g_variant_unref(g_variant_ref_sink(g_variant_new("(s)", "")));
}

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleMock(&argc, argv);
    if (!GTEST_FLAG_GET(list_tests)) {
        const std::string failure = mox::test::enter_ipc_namespace();
        if (!failure.empty()) {
            std::fprintf(stderr, "no System V namespace for the test: %s\n", failure.c_str());
            return 1;
        }
    }
    make_type_lock();
    return RUN_ALL_TESTS();
}
