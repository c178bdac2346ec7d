// Reading a property from memory: as a value and into a buffer.
#include <benchmark/benchmark.h>

#include "model.hpp"
#include "primitives.hpp"
#include "row_failure.hpp"

namespace mox::bench {
namespace {

constexpr int kOthers = 1000;

OBJ_HANDLE text_object() {
    static const OBJ_HANDLE handle = [] {
        make_objects("read", kOthers, 1);
        return make_text_object("read_text");
    }();
    return handle;
}

void read_value(benchmark::State& state, OBJ_HANDLE object, const char* property) {
    for (auto _ : state) {
        GVariant* value = nullptr;
        if (lom_get_property_value(object, property, FALSE, &value, FALSE) != MOX_OK) {
            fail_row("a read from memory failed");
        }
        g_variant_unref(value);
    }
}

void memory_u32(benchmark::State& state) {
    read_value(state, text_object(), kProperty);
}
void memory_text64(benchmark::State& state) {
    read_value(state, text_object(), "Text");
}

void memory_into_buffer(benchmark::State& state) {
    const OBJ_HANDLE object = text_object();
    guchar buffer[4];
    for (auto _ : state) {
        lom_get_property_value_v2(object, kProperty, FALSE, sizeof(buffer), buffer, FALSE);
        benchmark::DoNotOptimize(buffer);
    }
}

// Everything a read of a stored value consists of, done by the best means for each alone.
struct ReadFloor {
    ReadFloor() { osal_process_sem_create(&index, &semid, &member); }
    ~ReadFloor() { osal_process_sem_free(index, member); }
    ReadFloor(const ReadFloor&) = delete;
    ReadFloor& operator=(const ReadFloor&) = delete;

    void find_both() {
        objects.find(object_quark);
        benchmark::DoNotOptimize(g_hash_table_lookup(properties, kProperty));
    }

    PlainTable objects{"floor", kOthers};
    GQuark object_quark = g_quark_from_string("floor_500");
    GHashTable* properties = [] {
        GHashTable* table = g_hash_table_new(g_str_hash, g_str_equal);
        for (const char* name : {kProperty, "Text"}) {
            g_hash_table_insert(table, const_cast<char*>(name), const_cast<char*>(name));
        }
        return table;
    }();
    gint32 index = 0, semid = 0, member = 0;
    char bytes[64] = {};
};

void floor_read(benchmark::State& state, const GVariantType* type, gsize size) {
    ReadFloor floor;
    for (auto _ : state) {
        floor.find_both();
        copy_into_value(floor.semid, floor.member, type, floor.bytes, size);
    }
}

void floor_memory_u32(benchmark::State& state) {
    floor_read(state, G_VARIANT_TYPE_UINT32, 4);
}
void floor_memory_text64(benchmark::State& state) {
    floor_read(state, G_VARIANT_TYPE_STRING, 64);
}

void floor_memory_into_buffer(benchmark::State& state) {
    ReadFloor floor;
    guchar buffer[4];
    for (auto _ : state) {
        floor.find_both();
        osal_process_sem_p(floor.semid, floor.member);
        std::memcpy(buffer, floor.bytes, sizeof(buffer));
        osal_process_sem_v(floor.semid, floor.member);
        benchmark::DoNotOptimize(buffer);
    }
}

BENCHMARK(memory_u32)->Name("read/memory_u32");
BENCHMARK(floor_memory_u32)->Name("floor/read/memory_u32");
BENCHMARK(memory_text64)->Name("read/memory_text64");
BENCHMARK(floor_memory_text64)->Name("floor/read/memory_text64");
BENCHMARK(memory_into_buffer)->Name("read/memory_into_buffer");
BENCHMARK(floor_memory_into_buffer)->Name("floor/read/memory_into_buffer");

}  // namespace
}  // namespace mox::bench
