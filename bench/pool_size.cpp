// pool_size: prints what an object and a property take in the pool, in bytes, one a line.
// tools/size.sh holds them against their budget.
#include <cstdio>

#include "ipc_namespace.hpp"
#include "model.hpp"
#include "pool_bytes.hpp"

int main() {
    const std::string failure = mox::test::enter_ipc_namespace();
    if (!failure.empty()) {
        std::fprintf(stderr, "pool_size: no System V namespace: %s\n", failure.c_str());
        return 1;
    }
    mox::bench::make_model();
    const mox::bench::PoolBytes bytes = mox::bench::measure_pool_bytes();
    std::printf("object %.1f\nproperty %.1f\n", bytes.object, bytes.property);
    return 0;
}
