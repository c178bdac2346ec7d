// A stream of announcements to one listening process, a core each: the time of one event, and how
// many arrive in a second, counted where they arrive. A message that finds its queue full is lost,
// and the queue layer tells how a queue stands: the writer looks now and then and pauses before it
// is full. An event that is lost all the same fails the row.
#include <benchmark/benchmark.h>
#include <moxplat/osal.h>
#include <time.h>

#include <string>

#include "announcement.hpp"
#include "clock.hpp"
#include "cores.hpp"
#include "model.hpp"
#include "receivers.hpp"
#include "row_failure.hpp"

namespace mox::bench {
namespace {

constexpr guint32 kEvents = 100000;  // in each of the repetitions
constexpr guint32 kBetweenLooks = 128;
constexpr guint64 kMostWaiting = 1024;
constexpr timespec kPause = {0, 50000};

void wait_for_room() {
    OSAL_QUEUE_STATE_S state = {};
    while (osal_process_queue_state(receiver_queue(0), &state) == OSAL_OK &&
           state.messages > kMostWaiting) {
        nanosleep(&kPause, nullptr);
    }
}

template <typename Send>
void measure(benchmark::State& state, Send send) {
    const PinnedScope pinned(0);
    if (!place_receivers(1)) {
        fail_row("a stream needs two cores");
    }
    for (auto _ : state) {
        expect_messages(kEvents);
        const gint64 start = now_ns();
        for (guint32 event = 0; event < kEvents; ++event) {
            if (event % kBetweenLooks == 0) {
                wait_for_room();
            }
            send();
        }
        const gint64 last = wait_for_messages(Waiting::kBlocking);
        if (last == 0) {
            fail_row(std::to_string(missing_messages()) + " of " + std::to_string(kEvents) +
                     " events of the stream did not arrive");
        }
        const double seconds = static_cast<double>(last - start) * 1e-9;
        state.SetIterationTime(seconds / kEvents);
        state.counters["events_per_second"] = kEvents / seconds;
        state.counters["lost"] = missing_messages();
    }
}

void stream(benchmark::State& state) {
    const OBJ_HANDLE object = announcing_object();
    measure(state, [&] { write_next_number(object, kProperty); });
}

void floor_stream(benchmark::State& state) {
    announcing_object();
    AnnouncementFloor floor;
    measure(state, [&] { floor.announce(1); });
}

void bare_queue(benchmark::State& state) {
    measure(state, [] { AnnouncementFloor::send_bare(0); });
}

BENCHMARK(stream)->Name("event/stream")->UseManualTime()->Iterations(1);
BENCHMARK(floor_stream)->Name("floor/event/stream")->UseManualTime()->Iterations(1);
BENCHMARK(bare_queue)->Name("event/stream_bare_queue")->UseManualTime()->Iterations(1);

}  // namespace
}  // namespace mox::bench
