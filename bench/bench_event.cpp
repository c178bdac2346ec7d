// From the change of a value to its arrival in another process, beside one message of the same size
// on a bare queue.
#include <benchmark/benchmark.h>
#include <classnode.h>
#include <ipcmsg.h>
#include <moxplat/osal.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "event_peer_process.hpp"
#include "model.hpp"
#include "primitives.hpp"

namespace mox::bench {
namespace {

// Shared with the receiver.
struct Arrival {
    std::atomic<guint32> count;
    std::atomic<guint32> spare;
    std::atomic<gint64> moment_ns;
};

Arrival* g_arrival = nullptr;
gint32 g_queue = -1;
pid_t g_receiver = -1;
guint32 g_expected = 0;

constexpr gint64 kLongestWaitNs = 1000000000;
constexpr gsize kMessageSize = sizeof(MOX_MSG_HEAD_S) + 76 + 4;

[[noreturn]] void receive_for_ever() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    MOX_MSG_S message;
    while (osal_process_queue_receive(g_queue, &message, sizeof(message), 1) >= 0) {
        g_arrival->moment_ns.store(now_ns());
        g_arrival->count.fetch_add(1);
    }
    _exit(0);
}

// Runs one change after another and reports the time from just before it to the arrival.
template <typename Change>
void measure(benchmark::State& state, Change change) {
    for (auto _ : state) {
        const gint64 start = now_ns();
        change();
        const gint64 arrival = wait_for_arrival(++g_expected);
        if (arrival == 0) {
            state.SkipWithError("the message did not arrive");
            return;
        }
        state.SetIterationTime(static_cast<double>(arrival - start) * 1e-9);
    }
}

OBJ_HANDLE event_object() {
    static const OBJ_HANDLE handle = [] {
        ipc_msg_set_port(g_queue);
        cls_add_listener_port(cls_get_class(kClassName), kProperty, g_queue, 16);
        return make_text_object("event_object");
    }();
    return handle;
}

// The owner's change: the value stored, the event raised.
void change_to_arrival(benchmark::State& state) {
    const OBJ_HANDLE object = event_object();
    guint32 number = 0;
    measure(state, [&] {
        ++number;
        lom_realloc_property("event_object", kProperty, "u", sizeof(number), &number);
        GVariant* value = g_variant_ref_sink(g_variant_new_uint32(number));
        lom_property_event(object, kProperty, value, TRUE);
        g_variant_unref(value);
    });
}

void floor_change_to_arrival(benchmark::State& state) {
    event_object();
    gint32 index = 0, semid = 0, member = 0;
    osal_process_sem_create(&index, &semid, &member);
    PlainTable objects("event", 10);
    const GQuark quark = g_quark_from_string("event_5");
    const guint32 number = 7;
    measure(state, [&] {
        objects.find(quark);
        copy_into_value(semid, member, G_VARIANT_TYPE_UINT32, &number, sizeof(number));
        auto* message = static_cast<MOX_MSG_HEAD_S*>(g_malloc0(kMessageSize));
        message->mtype = 1;
        osal_process_queue_send(g_queue, message, kMessageSize);
        g_free(message);
    });
    osal_process_sem_free(index, member);
}

BENCHMARK(change_to_arrival)->Name("event/change_to_arrival")->UseManualTime();
BENCHMARK(floor_change_to_arrival)->Name("floor/event/change_to_arrival")->UseManualTime();

}  // namespace

gint64 now_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<gint64>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

gint32 event_peer_queue() {
    return g_queue;
}

void start_event_peer() {
    void* shared =
        mmap(nullptr, sizeof(Arrival), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED || osal_process_queue_create(&g_queue) != 0) {
        std::fprintf(stderr, "moxbench: no queue for the receiver\n");
        std::exit(1);
    }
    g_arrival = new (shared) Arrival{};
    g_receiver = fork();
    if (g_receiver == 0) {
        receive_for_ever();
    }
}

void stop_event_peer() {
    osal_process_queue_delete(g_queue);
    waitpid(g_receiver, nullptr, 0);
    osal_process_release_all();
}

gint64 wait_for_arrival(guint32 n) {
    const gint64 give_up_at = now_ns() + kLongestWaitNs;
    while (g_arrival->count.load() < n) {
        if (now_ns() > give_up_at) {
            return 0;
        }
    }
    return g_arrival->moment_ns.load();
}

}  // namespace mox::bench
