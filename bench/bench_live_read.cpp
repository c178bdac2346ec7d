// A live read through an accessor, by the owner, that finds the stored value. Every such read first
// hands the accessor's family (here the accessor and its chip) to the driver library as lists of
// named values: a library relies on having the values of this moment. So the hand-over belongs to
// the sum of the read; it has a row of its own, too.
#include <benchmark/benchmark.h>
#include <moxplat/driver.h>

#include <cstdlib>

#include "model.hpp"
#include "row_failure.hpp"
#include "stored_floor.hpp"

namespace mox::bench {
namespace {

OBJ_HANDLE hardware_object() {
    static const OBJ_HANDLE handle = [] {
        make_objects("live", 1000, 1);
        return make_hardware_object("hw", chip_file());
    }();
    return handle;
}

// An accessor and its chip with the values that the real ones have, under names of their own: what
// the driver library knows of the real ones stays.
class FamilyFloor : public StoredFloor {
public:
    // The accessor and the chip by name, the chip's name read and what the chip may name asked for,
    // the members as a set, a list of the named values of each over their stored bytes, the
    // library's call, all of it released.
    void hand_over() {
        GHashTable* members = g_hash_table_new(g_direct_hash, g_direct_equal);
        find_object();
        g_hash_table_add(members, GINT_TO_POINTER(1));
        find_property("Value1");
        copy_into_value(semid, member, G_VARIANT_TYPE_STRING, kChip, sizeof(kChip));
        find_object();
        g_hash_table_add(members, GINT_TO_POINTER(2));
        for (const char* link : {"PrevChip", "ResetChip", "LBus"}) {
            find_property(link);
        }
        GHashTable* lists = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, free_list);
        find_object();
        g_hash_table_insert(lists, g_strdup("Accessor.floor_acc"), accessor_list());
        find_object();
        g_hash_table_insert(lists, g_strdup("Chip.floor_chip"), chip_list());
        create_physical_object(lists);
        g_hash_table_destroy(lists);
        g_hash_table_destroy(members);
    }

    // Returns false when the driver library cannot serve it.
    bool read() {
        find_object();
        find_property("Value5");
        hand_over();
        guint8 fresh[8];
        if (accessor_read(kAccessor, 0, 0, fresh) != DRIVER_OK) {
            return false;
        }
        copy_into_value(semid, member, G_VARIANT_TYPE_UINT32, fresh, sizeof(guint32));
        return true;
    }

private:
    static constexpr char kAccessor[] = "floor_acc";
    static constexpr char kChip[] = "floor_chip";

    static void free_list(gpointer list) {
        g_slist_free_full(static_cast<GSList*>(list), free_has_property);
    }

    static void add(GSList*& list, const char* name, GVariant* value) {
        list = g_slist_prepend(list, create_has_property(name, value));
    }

    static void add_stored(GSList*& list, const char* name, const char* type, const void* bytes,
                           gsize size) {
        add(list, name,
            g_variant_new_from_data(G_VARIANT_TYPE(type), bytes, size, TRUE, nullptr, nullptr));
    }

    void add_standing(GSList*& list, const char* object) const {
        add(list, "ObjName", g_variant_new_string(object));
        add(list, "SemId", g_variant_new_int32(semid));
        add(list, "SemMember", g_variant_new_int32(member));
        add(list, "Position", g_variant_new_uint32(1));
    }

    GSList* accessor_list() const {
        static const guint32 offset = 0, width = 4;
        GSList* list = nullptr;
        add_stored(list, "Chip", "s", kChip, sizeof(kChip));
        add_stored(list, "Kind", "s", "raw", 4);
        add_stored(list, "Type", "s", "u", 2);
        add_stored(list, "Offset", "u", &offset, sizeof(offset));
        add_stored(list, "Width", "u", &width, sizeof(width));
        add_standing(list, kAccessor);
        return list;
    }

    GSList* chip_list() const {
        GSList* list = nullptr;
        add_stored(list, "Path", "s", chip_file().c_str(), chip_file().size() + 1);
        add_standing(list, kChip);
        return list;
    }
};

void live_accessor(benchmark::State& state) {
    const OBJ_HANDLE object = hardware_object();
    for (auto _ : state) {
        GVariant* value = nullptr;
        if (lom_get_property_value(object, kProperty, TRUE, &value, FALSE) != MOX_OK) {
            fail_row("a live read failed");
        }
        g_variant_unref(value);
    }
}

void floor_live_accessor(benchmark::State& state) {
    FamilyFloor floor;
    for (auto _ : state) {
        if (!floor.read()) {
            fail_row("the accessor cannot be read");
        }
    }
}

void hand_family_over(benchmark::State& state) {
    hardware_object();
    const OBJ_HANDLE accessor = lom_get_object_handle("hw_acc");
    for (auto _ : state) {
        lom_create_has_object(accessor);
    }
}

void floor_hand_family_over(benchmark::State& state) {
    FamilyFloor floor;
    for (auto _ : state) {
        floor.hand_over();
    }
}

// What the driver library itself needs for the value.
void library_read(benchmark::State& state) {
    hardware_object();
    lom_create_has_object(lom_get_object_handle("hw_acc"));
    guint8 fresh[8];
    for (auto _ : state) {
        benchmark::DoNotOptimize(accessor_read("hw_acc", 0, 0, fresh));
    }
}

BENCHMARK(live_accessor)->Name("read/live_accessor");
BENCHMARK(floor_live_accessor)->Name("floor/read/live_accessor");
BENCHMARK(hand_family_over)->Name("read/live_accessor_family");
BENCHMARK(floor_hand_family_over)->Name("floor/read/live_accessor_family");
BENCHMARK(library_read)->Name("read/live_accessor_library");

}  // namespace
}  // namespace mox::bench
