// Reading a property: from memory as a value and into a buffer, and live through an accessor.
#include <benchmark/benchmark.h>
#include <moxplat/driver.h>
#include <unistd.h>

#include <cstdlib>

#include "model.hpp"
#include "primitives.hpp"

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

// A file of 4 bytes that stands for a chip; removed when the program ends.
OBJ_HANDLE hardware_object() {
    static std::string path;
    static const OBJ_HANDLE handle = [] {
        char name[] = "/tmp/moxbench-chip-XXXXXX";
        const int file = mkstemp(name);
        if (file < 0 || write(file, "\1\2\3\4", 4) != 4) {
            std::abort();
        }
        close(file);
        path = name;
        std::atexit([] { unlink(path.c_str()); });
        return make_hardware_object("hw", path);
    }();
    return handle;
}

void read_value(benchmark::State& state, OBJ_HANDLE object, const char* property,
                gboolean is_volatile) {
    for (auto _ : state) {
        GVariant* value = nullptr;
        if (lom_get_property_value(object, property, is_volatile, &value, FALSE) != MOX_OK) {
            state.SkipWithError("the read failed");
            return;
        }
        g_variant_unref(value);
    }
}

void memory_u32(benchmark::State& state) {
    read_value(state, text_object(), kProperty, FALSE);
}
void memory_text64(benchmark::State& state) {
    read_value(state, text_object(), "Text", FALSE);
}
void live_accessor(benchmark::State& state) {
    read_value(state, hardware_object(), kProperty, TRUE);
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

// Two lookups (the object, the accessor), the driver library's read, and the comparison with the
// stored value under the semaphore. Handing the accessor's family over, which every lookup by the
// owner does, is measured below by itself.
void floor_live_accessor(benchmark::State& state) {
    hardware_object();
    lom_create_has_object(lom_get_object_handle("hw_acc"));
    ReadFloor floor;
    guint8 fresh[8];
    for (auto _ : state) {
        floor.find_both();
        floor.find_both();
        if (accessor_read("hw_acc", 0, 0, fresh) != 0) {
            state.SkipWithError("the accessor cannot be read");
            return;
        }
        copy_into_value(floor.semid, floor.member, G_VARIANT_TYPE_UINT32, fresh, 4);
    }
}

void hand_family_over(benchmark::State& state) {
    hardware_object();
    const OBJ_HANDLE accessor = lom_get_object_handle("hw_acc");
    for (auto _ : state) {
        lom_create_has_object(accessor);
    }
}

BENCHMARK(memory_u32)->Name("read/memory_u32");
BENCHMARK(floor_memory_u32)->Name("floor/read/memory_u32");
BENCHMARK(memory_text64)->Name("read/memory_text64");
BENCHMARK(floor_memory_text64)->Name("floor/read/memory_text64");
BENCHMARK(memory_into_buffer)->Name("read/memory_into_buffer");
BENCHMARK(floor_memory_into_buffer)->Name("floor/read/memory_into_buffer");
BENCHMARK(live_accessor)->Name("read/live_accessor");
BENCHMARK(floor_live_accessor)->Name("floor/read/live_accessor");
BENCHMARK(hand_family_over)->Name("read/live_accessor_family");

}  // namespace
}  // namespace mox::bench
