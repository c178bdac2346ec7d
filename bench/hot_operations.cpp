// hot_operations <operation> <calls>: does one of the operations that modules do most that many
// times. Under callgrind with --toggle-collect=counted_call only these calls count; what goes ahead
// of the first and lies between them does not. Without an argument it prints the operations' names,
// one a line. tools/check-instructions.sh runs it.
#include <classnode.h>
#include <ipcmsg.h>
#include <moxplat/osal.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ipc_namespace.hpp"
#include "model.hpp"

// Callgrind finds it by this name; it must neither be inlined nor end in a jump to the operation.
extern "C" [[gnu::noinline]] bool counted_call(bool (*call)(int), int turn);
bool counted_call(bool (*call)(int), int turn) {
    const bool is_done = call(turn);
    asm volatile("" ::: "memory");
    return is_done;
}

namespace {

// Many objects take turns: what a string function does at a memory page's end costs a few
// instructions more, and where the names lie changes with each build. Over many names it is the
// same share.
constexpr int kTurns = 128;
constexpr int kObjects = 200;
constexpr int kWarmUpCalls = 2 * kTurns;
constexpr const char* kFamily = "hot";
constexpr const char* kNames[] = {"Value",  "Value1", "Value2", "Value3", "Value4",
                                  "Value5", "Value6", "Value7", "Value8", "Value9"};

OBJ_HANDLE g_objects[kTurns] = {};
std::string g_object_names[kTurns];
GSList* g_names = nullptr;
gint32 g_queue = -1;
guint32 g_number = 100;

bool read_value(OBJ_HANDLE object, const char* property, gboolean is_live) {
    GVariant* value = nullptr;
    if (lom_get_property_value(object, property, is_live, &value, FALSE) != MOX_OK) {
        return false;
    }
    g_variant_unref(value);
    return true;
}

bool write_value(OBJ_HANDLE object, const char* property, guint32 number) {
    GVariant* value = g_variant_ref_sink(g_variant_new_uint32(number));
    const gint32 result =
        lom_set_property_value(object, property, value, PER_MODE_NOSUPPORT, FALSE);
    g_variant_unref(value);
    return result == MOX_OK;
}

void prepare_objects() {
    for (int turn = 0; turn < kTurns; ++turn) {
        g_object_names[turn] = mox::bench::object_name(kFamily, kObjects - kTurns + turn);
        g_objects[turn] = lom_get_object_handle(g_object_names[turn].c_str());
        lom_set_writable(g_objects[turn], OBJECT_READ_WRITE);
    }
}

void prepare_texts() {
    for (int turn = 0; turn < kTurns; ++turn) {
        g_objects[turn] = mox::bench::make_text_object(mox::bench::object_name("hot_text", turn));
    }
}

void prepare_formulas() {
    prepare_objects();
    for (int turn = 0; turn < kTurns; ++turn) {
        g_objects[turn] =
            mox::bench::make_formula_object(mox::bench::object_name("hot_formula", turn),
                                            "(X - Y) * 100 / Z", g_object_names[turn]);
    }
}

void prepare_hardware() {
    for (int turn = 0; turn < kTurns; ++turn) {
        g_objects[turn] = mox::bench::make_hardware_object(
            mox::bench::object_name("hot_hardware", turn), mox::bench::chip_file());
    }
}

void prepare_listener() {
    prepare_objects();
    if (osal_process_queue_create(&g_queue) != 0) {
        std::fprintf(stderr, "hot_operations: no queue\n");
        std::exit(1);
    }
    cls_add_listener_port(cls_get_class(mox::bench::kClassName), "Value1", g_queue, 1);
    ipc_msg_set_port(g_queue);
}

void prepare_ten() {
    prepare_objects();
    for (const char* name : kNames) {
        g_names = g_slist_append(g_names, const_cast<char*>(name));
    }
}

bool read_number(int turn) {
    return read_value(g_objects[turn], mox::bench::kProperty, FALSE);
}

bool read_text(int turn) {
    return read_value(g_objects[turn], "Text", FALSE);
}

bool read_into_buffer(int turn) {
    guint32 number = 0;
    return lom_get_property_value_v2(g_objects[turn], mox::bench::kProperty, FALSE, sizeof(number),
                                     reinterpret_cast<guchar*>(&number), FALSE) == MOX_OK;
}

bool read_live(int turn) {
    return read_value(g_objects[turn], mox::bench::kProperty, TRUE);
}

bool read_ten_together(int turn) {
    GSList* values = nullptr;
    if (lom_multiget_property_value(g_objects[turn], g_names, &values) != MOX_OK) {
        return false;
    }
    g_slist_free_full(values, reinterpret_cast<GDestroyNotify>(g_variant_unref));
    return true;
}

bool write_unchanged(int turn) {
    return write_value(g_objects[turn], "Value4", 4);
}

bool write_no_listener(int turn) {
    return write_value(g_objects[turn], "Value3", ++g_number);
}

bool write_one_listener(int turn) {
    return write_value(g_objects[turn], "Value1", ++g_number);
}

bool find_by_name(int turn) {
    return lom_get_object_handle(g_object_names[turn].c_str()) == g_objects[turn];
}

bool find_by_handle(int turn) {
    return lom_get_position(g_objects[turn]) == 1;
}

void drain_queue() {
    ipc_clear_queue(g_queue);
}

struct Operation {
    std::string_view name;
    void (*prepare)();
    bool (*call)(int);
    void (*after_each_call)() = nullptr;
};

constexpr Operation kOperations[] = {
    {"read-number", prepare_objects, read_number},
    {"read-text", prepare_texts, read_text},
    {"read-into-buffer", prepare_objects, read_into_buffer},
    {"read-formula", prepare_formulas, read_live},
    {"read-hardware", prepare_hardware, read_live},
    {"read-ten-together", prepare_ten, read_ten_together},
    {"write-unchanged", prepare_objects, write_unchanged},
    {"write-no-listener", prepare_objects, write_no_listener},
    {"write-one-listener", prepare_listener, write_one_listener, drain_queue},
    {"find-by-name", prepare_objects, find_by_name},
    {"find-by-handle", prepare_objects, find_by_handle},
};

// The first calls are not counted: they bind library functions and fill what is filled once.
bool run(const Operation& operation, long calls) {
    for (long at = 0; at < kWarmUpCalls + calls; ++at) {
        const int turn = static_cast<int>(at % kTurns);
        const bool is_done =
            at < kWarmUpCalls ? operation.call(turn) : counted_call(operation.call, turn);
        if (!is_done) {
            std::fprintf(stderr, "hot_operations: %s failed\n", operation.name.data());
            return false;
        }
        if (operation.after_each_call != nullptr) {
            operation.after_each_call();
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) {
        for (const Operation& operation : kOperations) {
            std::puts(operation.name.data());
        }
        return 0;
    }
    const long calls = argc == 3 ? std::atol(argv[2]) : 0;
    for (const Operation& operation : kOperations) {
        if (calls <= 0 || operation.name != argv[1]) {
            continue;
        }
        const std::string failure = mox::test::enter_ipc_namespace();
        if (!failure.empty()) {
            std::fprintf(stderr, "hot_operations: no System V namespace: %s\n", failure.c_str());
            return 1;
        }
        mox::bench::make_model();
        mox::bench::make_objects(kFamily, kObjects, 10);
        operation.prepare();
        return run(operation, calls) ? 0 : 1;
    }
    std::fprintf(stderr,
                 "usage: hot_operations [operation calls]; without: the operations' names\n");
    return 2;
}
