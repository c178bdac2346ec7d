// From the write of a value to the arrival of its announcement in the last of one or ten listening
// processes, beside the same way of messages of that size over bare queues. On one core all share
// it, and the writer blocks until the last has arrived; on two the writer has the first core and
// spins. A row's time is the median of a repetition's delays: a mean would mostly tell what else
// the machine did meanwhile. The distribution of all delays is kept beside it.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <string>
#include <vector>

#include "announcement.hpp"
#include "clock.hpp"
#include "cores.hpp"
#include "delays.hpp"
#include "model.hpp"
#include "receivers.hpp"
#include "row_failure.hpp"

namespace mox::bench {
namespace {

constexpr int kWarmUpChanges = 50;

struct Row {
    const char* name;
    int listeners;
    bool has_two_cores;
    int changes;  // in each of the repetitions, which together make the distribution
};

constexpr Row kRows[] = {
    {"event/1_listener", 1, false, 4000},
    {"event/10_listeners", kReceivers, false, 1000},
    {"event/1_listener_2_cores", 1, true, 4000},
    {"event/10_listeners_2_cores", kReceivers, true, 1000},
};

// Makes one change and waits for its arrivals. Returns the delay of the last; 0 when it failed.
template <typename Change>
gint64 delay_of(const Row& row, Change change) {
    expect_messages(static_cast<guint32>(row.listeners));
    const gint64 start = now_ns();
    if (!change()) {
        return 0;
    }
    const gint64 arrival =
        wait_for_messages(row.has_two_cores ? Waiting::kSpinning : Waiting::kBlocking);
    return arrival == 0 ? 0 : arrival - start;
}

template <typename Change>
void measure(benchmark::State& state, const Row& row, const std::string& delays_row,
             Change change) {
    const PinnedScope pinned(0);
    if (!place_receivers(row.has_two_cores ? 1 : 0)) {
        fail_row("the receivers cannot be kept on a core");
    }
    for (int ahead = 0; ahead < kWarmUpChanges; ++ahead) {
        delay_of(row, change);
    }
    for (auto _ : state) {
        std::vector<gint64> times;
        for (int at = 0; at < row.changes; ++at) {
            times.push_back(delay_of(row, change));
            if (times.back() == 0) {
                fail_row("an announcement did not arrive");
            }
            delays().add(delays_row, row.has_two_cores ? "2" : "1", times.back());
        }
        std::nth_element(times.begin(), times.begin() + row.changes / 2, times.end());
        state.SetIterationTime(static_cast<double>(times[times.size() / 2]) * 1e-9);
    }
}

void change_to_arrival(benchmark::State& state, const Row& row) {
    const OBJ_HANDLE object = announcing_object();
    const char* property = row.listeners == 1 ? kProperty : "Value1";
    measure(state, row, row.listeners == 1 ? kRows[0].name : kRows[1].name,
            [&] { return write_next_number(object, property); });
}

void floor_change_to_arrival(benchmark::State& state, const Row& row) {
    announcing_object();
    AnnouncementFloor floor;
    const char* name = row.listeners == 1 ? kRows[0].name : kRows[1].name;
    measure(state, row, std::string("floor/") + name,
            [&] { return floor.announce(row.listeners); });
}

const bool g_are_registered = [] {
    for (const Row& row : kRows) {
        if (row.has_two_cores && !has_two_cores()) {
            continue;
        }
        benchmark::RegisterBenchmark(row.name, change_to_arrival, row)
            ->UseManualTime()
            ->Iterations(1);
        benchmark::RegisterBenchmark((std::string("floor/") + row.name).c_str(),
                                     floor_change_to_arrival, row)
            ->UseManualTime()
            ->Iterations(1);
    }
    return true;
}();

}  // namespace
}  // namespace mox::bench
