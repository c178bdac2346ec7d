// Writing a stored number: changed, with 0, 1 and 10 listening queues; unchanged; forced. What is
// timed is the call with its value built and released; the queues are drained after each call,
// outside the time, so that they never fill. Nothing receives, so no wake-up is in the time.
#include <benchmark/benchmark.h>
#include <classnode.h>
#include <ipcmsg.h>

#include "clock.hpp"
#include "model.hpp"
#include "row_failure.hpp"
#include "stored_floor.hpp"

namespace mox::bench {
namespace {

constexpr int kQueues = 10;
constexpr gsize kMessageSize = sizeof(MOX_MSG_HEAD_S) + 76 + 4;
gint32 g_queues[kQueues] = {};

// "Value1" has one listener, "Value2" ten, the others none.
OBJ_HANDLE write_object() {
    static const OBJ_HANDLE handle = [] {
        for (gint32& queue : g_queues) {
            osal_process_queue_create(&queue);
            cls_add_listener_port(cls_get_class(kClassName), "Value2", queue, kQueues);
        }
        cls_add_listener_port(cls_get_class(kClassName), "Value1", g_queues[0], kQueues);
        ipc_msg_set_port(g_queues[0]);
        return make_writable_object("write");
    }();
    return handle;
}

template <typename Call>
void measure(benchmark::State& state, int listeners, Call call) {
    for (auto _ : state) {
        const gint64 start = now_ns();
        const bool is_done = call();
        state.SetIterationTime(static_cast<double>(now_ns() - start) * 1e-9);
        if (!is_done) {
            fail_row("a write failed");
        }
        for (int at = 0; at < listeners; ++at) {
            ipc_clear_queue(g_queues[at]);
        }
    }
}

void write_row(benchmark::State& state, const char* property, int listeners, guint32 step) {
    const OBJ_HANDLE object = write_object();
    static guint32 number = 100;
    measure(state, listeners, [&] {
        GVariant* value = g_variant_ref_sink(g_variant_new_uint32(number += step));
        const gint32 result =
            lom_set_property_value(object, property, value, PER_MODE_NOSUPPORT, FALSE);
        g_variant_unref(value);
        return result == MOX_OK;
    });
}

void override_row(benchmark::State& state) {
    const OBJ_HANDLE object = write_object();
    guint32 number = 0;
    measure(state, 0, [&] {
        GVariant* value = g_variant_ref_sink(g_variant_new_uint32(++number));
        const gint32 result =
            lom_override_property_value(object, "Value5", value, PROPERTY_OVERRIDE, nullptr);
        g_variant_unref(value);
        return result == MOX_OK;
    });
}

// A value, the object, the property, the semaphore around the store; when it is announced, the
// property's listeners looked up, and for them one message that is sent to each, after the look
// whether it is to be shown.
void floor_row(benchmark::State& state, int listeners, bool is_announced) {
    write_object();
    StoredFloor floor;
    guint32 stored = 0;
    measure(state, listeners, [&] {
        GVariant* value = g_variant_ref_sink(g_variant_new_uint32(7));
        floor.find_object();
        floor.find_property("Value5");
        osal_process_sem_p(floor.semid, floor.member);
        std::memcpy(&stored, g_variant_get_data(value), sizeof(stored));
        benchmark::DoNotOptimize(stored);
        osal_process_sem_v(floor.semid, floor.member);
        if (is_announced) {
            floor.find_listeners("Value5");
        }
        bool is_sent = true;
        if (listeners > 0) {
            auto* message = static_cast<MOX_MSG_HEAD_S*>(g_malloc0(kMessageSize));
            message->mtype = 1;
            for (int at = 0; at < listeners; ++at) {
                StoredFloor::look_for_level();
                is_sent =
                    osal_process_queue_send(g_queues[at], message, kMessageSize) == 0 && is_sent;
            }
            g_free(message);
        }
        g_variant_unref(value);
        return is_sent;
    });
}

void unchanged(benchmark::State& state) {
    write_row(state, "Value4", 0, 0);
}
void floor_unchanged(benchmark::State& state) {
    floor_row(state, 0, false);
}
void no_listener(benchmark::State& state) {
    write_row(state, "Value3", 0, 1);
}
void floor_no_listener(benchmark::State& state) {
    floor_row(state, 0, true);
}
void to_1_listener(benchmark::State& state) {
    write_row(state, "Value1", 1, 1);
}
void floor_1_listener(benchmark::State& state) {
    floor_row(state, 1, true);
}
void to_10_listeners(benchmark::State& state) {
    write_row(state, "Value2", kQueues, 1);
}
void floor_10_listeners(benchmark::State& state) {
    floor_row(state, kQueues, true);
}
void forced(benchmark::State& state) {
    override_row(state);
}
void floor_override(benchmark::State& state) {
    floor_row(state, 0, true);
}

BENCHMARK(unchanged)->Name("write/unchanged")->UseManualTime();
BENCHMARK(floor_unchanged)->Name("floor/write/unchanged")->UseManualTime();
BENCHMARK(no_listener)->Name("write/no_listener")->UseManualTime();
BENCHMARK(floor_no_listener)->Name("floor/write/no_listener")->UseManualTime();
BENCHMARK(to_1_listener)->Name("write/1_listener")->UseManualTime();
BENCHMARK(floor_1_listener)->Name("floor/write/1_listener")->UseManualTime();
BENCHMARK(to_10_listeners)->Name("write/10_listeners")->UseManualTime();
BENCHMARK(floor_10_listeners)->Name("floor/write/10_listeners")->UseManualTime();
BENCHMARK(forced)->Name("write/override")->UseManualTime();
BENCHMARK(floor_override)->Name("floor/write/override")->UseManualTime();

}  // namespace
}  // namespace mox::bench
