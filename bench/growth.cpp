// moxbench_growth: the time of one object when few and when many are built, and when a second
// process attaches and copies them all. Each figure is of fresh processes. Behind the rows stands
// what an object takes among many against one among few. bench/run.sh prints the table's head.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "growth_run.hpp"
#include "ratio_table.hpp"
#include "row_failure.hpp"

namespace mox::bench {
namespace {

constexpr int kFew = 100;
constexpr int kSome = 1000;
constexpr int kMany = 10000;

void measure(benchmark::State& state, gint64 GrowthTimes::*part) {
    const int objects = static_cast<int>(state.range(0));
    for (auto _ : state) {
        GrowthTimes times = {};
        if (!run_growth(objects, &times)) {
            fail_row("building or attaching failed");
        }
        state.SetIterationTime(static_cast<double>(times.*part) * 1e-9 / objects);
    }
}

void build(benchmark::State& state) {
    measure(state, &GrowthTimes::build_ns);
}
void attach(benchmark::State& state) {
    measure(state, &GrowthTimes::attach_ns);
}

// The sizes get the same number of objects in all, as far as that goes.
BENCHMARK(build)->Name("build")->Arg(kFew)->UseManualTime()->Iterations(20);
BENCHMARK(build)->Name("build")->Arg(kSome)->UseManualTime()->Iterations(3);
BENCHMARK(build)->Name("build")->Arg(kMany)->UseManualTime()->Iterations(1);
BENCHMARK(attach)->Name("attach")->Arg(kFew)->UseManualTime()->Iterations(20);
BENCHMARK(attach)->Name("attach")->Arg(kSome)->UseManualTime()->Iterations(3);
BENCHMARK(attach)->Name("attach")->Arg(kMany)->UseManualTime()->Iterations(1);

void print_growth(const RatioTable& table) {
    std::printf("\n");
    for (const std::string name : {"build", "attach"}) {
        const double few = table.median_ns(name + "/" + std::to_string(kFew));
        const double many = table.median_ns(name + "/" + std::to_string(kMany));
        if (few > 0 && many > 0) {
            std::printf("%s: an object among %d takes %.2f times what one among %d takes\n",
                        name.c_str(), kMany, many / few, kFew);
        }
    }
}

}  // namespace
}  // namespace mox::bench

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    mox::bench::RatioTable table;
    const size_t runs = benchmark::RunSpecifiedBenchmarks(&table);
    table.print();
    mox::bench::print_growth(table);
    return runs != 0 ? 0 : 1;
}
