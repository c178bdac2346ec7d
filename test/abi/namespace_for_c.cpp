#include "namespace_for_c.h"

#include <cstdio>
#include <string>

#include "ipc_namespace.hpp"

int mox_test_enter_ipc_namespace() {
    const std::string failure = mox::test::enter_ipc_namespace();
    if (failure.empty()) return 1;
    std::fprintf(stderr, "no System V namespace for the test: %s\n", failure.c_str());
    return 0;
}
