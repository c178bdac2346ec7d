// Ten stored numbers of one object: in one consistent read, and in ten single ones.
#include <benchmark/benchmark.h>

#include "model.hpp"
#include "row_failure.hpp"
#include "stored_floor.hpp"

namespace mox::bench {
namespace {

constexpr const char* kNames[] = {"Value",  "Value1", "Value2", "Value3", "Value4",
                                  "Value5", "Value6", "Value7", "Value8", "Value9"};

OBJ_HANDLE multiget_object() {
    make_objects("multiget", 1000, 10);
    return lom_get_object_handle("multiget_500");
}

void ten_together(benchmark::State& state) {
    const OBJ_HANDLE object = multiget_object();
    GSList* names = nullptr;
    for (const char* name : kNames) {
        names = g_slist_append(names, const_cast<char*>(name));
    }
    for (auto _ : state) {
        GSList* values = nullptr;
        if (lom_multiget_property_value(object, names, &values) != MOX_OK) {
            fail_row("a read of ten failed");
        }
        g_slist_free_full(values, reinterpret_cast<GDestroyNotify>(g_variant_unref));
    }
    g_slist_free(names);
}

void ten_singly(benchmark::State& state) {
    const OBJ_HANDLE object = multiget_object();
    for (auto _ : state) {
        for (const char* name : kNames) {
            GVariant* value = nullptr;
            if (lom_get_property_value(object, name, FALSE, &value, FALSE) != MOX_OK) {
                fail_row("a read of ten failed");
            }
            g_variant_unref(value);
        }
    }
}

// The object once, the semaphore once around ten copies, and for each property its lookup, a value
// over its copy and a place in the list of results.
void floor_ten_together(benchmark::State& state) {
    StoredFloor floor;
    const guint32 stored = 7;
    for (auto _ : state) {
        floor.find_object();
        gpointer copies[10];
        osal_process_sem_p(floor.semid, floor.member);
        for (int at = 0; at < 10; ++at) {
            floor.find_property(kNames[at]);
            copies[at] = g_memdup2(&stored, sizeof(stored));
        }
        osal_process_sem_v(floor.semid, floor.member);
        GSList* values = nullptr;
        for (gpointer copy : copies) {
            values = g_slist_prepend(
                values, g_variant_new_from_data(G_VARIANT_TYPE_UINT32, copy, sizeof(stored), TRUE,
                                                g_free, copy));
        }
        g_slist_free_full(values, reinterpret_cast<GDestroyNotify>(g_variant_unref));
    }
}

BENCHMARK(ten_together)->Name("multiget/10_together");
BENCHMARK(floor_ten_together)->Name("floor/multiget/10_together");
BENCHMARK(ten_singly)->Name("multiget/10_singly");

}  // namespace
}  // namespace mox::bench
