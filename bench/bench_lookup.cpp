// Finding an object by its handle among few and many.
#include <benchmark/benchmark.h>

#include "model.hpp"
#include "primitives.hpp"

namespace mox::bench {
namespace {

constexpr const char* kFamily = "lookup";

void lookup(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    make_objects(kFamily, count, 0);
    const OBJ_HANDLE handle = lom_name_to_handle(object_name(kFamily, count / 2).c_str());
    for (auto _ : state) {
        benchmark::DoNotOptimize(lom_get_position(handle));
    }
}

void floor_lookup(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    PlainTable table(kFamily, count);
    const GQuark quark = g_quark_from_string(object_name(kFamily, count / 2).c_str());
    for (auto _ : state) {
        table.find(quark);
    }
}

BENCHMARK(lookup)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(floor_lookup)->Name("floor/lookup")->Arg(10)->Arg(1000)->Arg(100000);

}  // namespace
}  // namespace mox::bench
