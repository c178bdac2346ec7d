// The benchmark program: a System V namespace and a pool of its own, the runs, the table.
#include <benchmark/benchmark.h>

#include <cstdio>

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
    // The receiver is forked while this process has one thread and no pool.
    mox::bench::start_event_peer();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    mox::bench::make_model();
    std::printf("\n## %zu-bit\n\n", sizeof(void*) * 8);
    mox::bench::print_pool_bytes();
    mox::bench::RatioTable table;
    const size_t runs = benchmark::RunSpecifiedBenchmarks(&table);
    std::printf("\n");
    table.print();
    mox::bench::stop_event_peer();
    return runs == 0 ? 1 : 0;
}
