// The benchmark program: a System V namespace and a pool of its own, then either the runs and the
// rows of their table, or, with --pool_bytes, the rows of the pool's table. bench/run.sh prints the
// heads.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string_view>

#include "event_peer_process.hpp"
#include "ipc_namespace.hpp"
#include "model.hpp"
#include "pool_bytes.hpp"
#include "ratio_table.hpp"

int main(int argc, char** argv) {
    const std::string failure = mox::test::enter_ipc_namespace();
    if (!failure.empty()) {
        std::fprintf(stderr, "moxbench: no System V namespace: %s\n", failure.c_str());
        return 1;
    }
    const bool wants_pool_bytes = argc == 2 && std::string_view(argv[1]) == "--pool_bytes";
    if (wants_pool_bytes) {
        argc = 1;
    }
    // The receiver is forked while this process has one thread and no pool.
    mox::bench::start_event_peer();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    mox::bench::make_model();
    size_t runs = 1;
    if (wants_pool_bytes) {
        mox::bench::print_pool_bytes();
    } else {
        mox::bench::RatioTable table;
        runs = benchmark::RunSpecifiedBenchmarks(&table);
        table.print();
    }
    mox::bench::stop_event_peer();
    return runs == 0 ? 1 : 0;
}
