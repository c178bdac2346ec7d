// Finding an object by its handle and by its name, among few and many.
#include <benchmark/benchmark.h>

#include "model.hpp"
#include "primitives.hpp"

namespace mox::bench {
namespace {

constexpr const char* kFamily = "lookup";

std::string name_in_the_middle(benchmark::State& state) {
    return object_name(kFamily, static_cast<int>(state.range(0)) / 2);
}

void by_handle(benchmark::State& state) {
    make_objects(kFamily, static_cast<int>(state.range(0)), 0);
    const OBJ_HANDLE handle = lom_name_to_handle(name_in_the_middle(state).c_str());
    for (auto _ : state) {
        benchmark::DoNotOptimize(lom_get_position(handle));
    }
}

// Quark to name, mutex, table lookup, reference taken and dropped.
void floor_by_handle(benchmark::State& state) {
    PlainTable table(kFamily, static_cast<int>(state.range(0)));
    const GQuark quark = g_quark_from_string(name_in_the_middle(state).c_str());
    for (auto _ : state) {
        table.find(quark);
    }
}

void by_name(benchmark::State& state) {
    make_objects(kFamily, static_cast<int>(state.range(0)), 0);
    const std::string name = name_in_the_middle(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(lom_get_object_handle(name.c_str()));
    }
}

// Mutex, table lookup, reference taken and dropped. The handle is the quark of the record's own
// name: it can lie beside the record, so that nothing is hashed a second time.
void floor_by_name(benchmark::State& state) {
    PlainTable table(kFamily, static_cast<int>(state.range(0)));
    const std::string name = name_in_the_middle(state);
    for (auto _ : state) {
        table.find(name.c_str());
    }
}

BENCHMARK(by_handle)->Name("lookup/by_handle")->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(floor_by_handle)->Name("floor/lookup/by_handle")->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(by_name)->Name("lookup/by_name")->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(floor_by_name)->Name("floor/lookup/by_name")->Arg(10)->Arg(1000)->Arg(100000);

}  // namespace
}  // namespace mox::bench
