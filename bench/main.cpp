// The benchmark program: a System V namespace and a pool of its own, then either the runs and the
// rows of their table, or, with --pool_bytes=FILE, the rows of the pool's table. bench/run.sh
// prints the heads. --delays=FILE keeps the distributions of the event rows.
#include <benchmark/benchmark.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "delays.hpp"
#include "ipc_namespace.hpp"
#include "model.hpp"
#include "pool_bytes.hpp"
#include "ratio_table.hpp"
#include "reader_process.hpp"
#include "receivers.hpp"

namespace {

// Takes "--name=VALUE" out of the arguments. Returns the value, empty when it is not there.
std::string take_option(int& argc, char** argv, std::string_view name) {
    std::string value;
    int kept = 1;
    for (int at = 1; at < argc; ++at) {
        const std::string_view argument = argv[at];
        if (argument.starts_with(name) && argument.substr(name.size()).starts_with('=')) {
            value = argument.substr(name.size() + 1);
        } else {
            argv[kept++] = argv[at];
        }
    }
    argc = kept;
    return value;
}

bool is_written(bool result, const std::string& path) {
    if (!result) {
        std::fprintf(stderr, "moxbench: %s cannot be written: %s\n", path.c_str(),
                     std::strerror(errno));
    }
    return result;
}

// Returns whether every row was measured and its figures kept.
bool run_benchmarks(const std::string& delays_path) {
    mox::bench::RatioTable table;
    const size_t runs = benchmark::RunSpecifiedBenchmarks(&table);
    table.print();
    mox::bench::delays().print();
    const bool are_kept =
        delays_path.empty() || is_written(mox::bench::delays().write(delays_path), delays_path);
    return runs != 0 && are_kept;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string failure = mox::test::enter_ipc_namespace();
    if (!failure.empty()) {
        std::fprintf(stderr, "moxbench: no System V namespace: %s\n", failure.c_str());
        return 1;
    }
    const std::string pool_path = take_option(argc, argv, "--pool_bytes");
    const std::string delays_path = take_option(argc, argv, "--delays");
    // The other processes are forked while this one has one thread and no pool.
    mox::bench::start_receivers();
    mox::bench::start_reader_process();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    mox::bench::make_model();
    const bool is_done = pool_path.empty()
                             ? run_benchmarks(delays_path)
                             : is_written(mox::bench::report_pool_bytes(pool_path), pool_path);
    mox::bench::stop_reader_process();
    mox::bench::stop_receivers();
    return is_done ? 0 : 1;
}
