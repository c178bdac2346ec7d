// What readers that are at it at the same time cost each other: two processes on one object, two
// threads of one process on an object each. A row is the slower reader's time for one read, its
// floor the time of one reader alone, which has a core of its own in either case. The rows that end
// in _alone, and that of the primitives, are the pieces of a read done in the same way: they say
// which of them the threads meet at.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <thread>

#include "cores.hpp"
#include "model.hpp"
#include "reader_process.hpp"
#include "row_failure.hpp"
#include "stored_floor.hpp"

namespace mox::bench {
namespace {

constexpr int kObjects = 1000;
constexpr const char* kFamily = "contended";

OBJ_HANDLE object_of(int reader) {
    make_objects(kFamily, kObjects, 1);
    return lom_get_object_handle(object_name(kFamily, kObjects / 2 + reader).c_str());
}

// One measurement a repetition. measured() returns ns, 0 when it failed.
template <typename Measured>
void report(benchmark::State& state, Measured measured) {
    if (!has_two_cores()) {
        fail_row("readers at the same time need two cores");
    }
    for (auto _ : state) {
        const double time_ns = measured();
        if (time_ns <= 0) {
            fail_row("one of the readers failed");
        }
        state.SetIterationTime(time_ns * 1e-9);
    }
}

// The slower of one or two threads, each on a core of its own, that call call(0) and call(1). The
// process has a second thread in either case.
template <typename Call>
double slower_of_threads(int threads, Call call) {
    SharedWindow window(threads);
    double results[2] = {1, 1};
    const auto run = [&](int which) {
        pin(0, which);
        results[which] = window.time_per_call([&] { return call(which); });
    };
    std::thread first(run, 0);
    if (threads == 2) {
        std::thread second(run, 1);
        second.join();
    }
    first.join();
    return std::min(results[0], results[1]) <= 0 ? 0 : std::max(results[0], results[1]);
}

// The slower of this process and the reader process, or this one alone.
template <typename Call, typename Start>
double slower_of_processes(bool is_alone, Call call, Start start_other) {
    const PinnedScope pinned(0);
    if (is_alone) {
        return SharedWindow().time_per_call(call);
    }
    const double own = start_other().time_per_call(call);
    const double other = join_reader();
    return own <= 0 || other <= 0 ? 0 : std::max(own, other);
}

void two_processes(benchmark::State& state, bool is_alone) {
    const OBJ_HANDLE object = object_of(0);
    static const bool is_given = give_object(object);
    report(state, [&] {
        return is_given ? slower_of_processes(
                              is_alone, [&] { return read_number(object); }, start_reading)
                        : 0;
    });
}

bool take_and_release(gint32 semid, gint32 member) {
    return osal_process_sem_p(semid, member) == OSAL_OK &&
           osal_process_sem_v(semid, member) == OSAL_OK;
}

void two_processes_lock(benchmark::State& state, bool is_alone) {
    const StoredFloor lock;
    report(state, [&] {
        return slower_of_processes(
            is_alone, [&] { return take_and_release(lock.semid, lock.member); },
            [&]() -> SharedWindow& { return start_taking(lock.semid, lock.member); });
    });
}

void two_threads(benchmark::State& state, int threads) {
    const OBJ_HANDLE objects[] = {object_of(0), object_of(1)};
    report(state, [&] {
        return slower_of_threads(threads, [&](int which) { return read_number(objects[which]); });
    });
}

// Everything a read of a stored number consists of, through one table for both.
void two_threads_primitives(benchmark::State& state, int threads) {
    PlainTable objects("floor", kObjects);
    StoredFloor own[2];
    const GQuark quarks[] = {g_quark_from_string("floor_500"), g_quark_from_string("floor_501")};
    const guint32 stored = 7;
    report(state, [&] {
        return slower_of_threads(threads, [&](int which) {
            objects.find(quarks[which]);
            own[which].find_property("Value5");
            copy_into_value(own[which].semid, own[which].member, G_VARIANT_TYPE_UINT32, &stored,
                            sizeof(stored));
            return true;
        });
    });
}

// The table's mutex is one for the process.
void two_threads_mutex(benchmark::State& state, int threads) {
    GRecMutex mutex;
    g_rec_mutex_init(&mutex);
    report(state, [&] {
        return slower_of_threads(threads, [&](int) {
            g_rec_mutex_lock(&mutex);
            g_rec_mutex_unlock(&mutex);
            return true;
        });
    });
    g_rec_mutex_clear(&mutex);
}

void two_threads_locks(benchmark::State& state, int threads) {
    const StoredFloor locks[2];
    report(state, [&] {
        return slower_of_threads(threads, [&](int which) {
            return take_and_release(locks[which].semid, locks[which].member);
        });
    });
}

void two_threads_values(benchmark::State& state, int threads) {
    report(state, [&] {
        return slower_of_threads(threads, [](int) {
            gpointer bytes = g_malloc0(sizeof(guint32));
            g_variant_unref(g_variant_new_from_data(G_VARIANT_TYPE_UINT32, bytes, sizeof(guint32),
                                                    TRUE, g_free, bytes));
            return true;
        });
    });
}

template <typename Function, typename Both, typename Alone>
void add_row(const std::string& name, Function function, Both both, Alone alone) {
    benchmark::RegisterBenchmark(name.c_str(), function, both)->UseManualTime()->Iterations(1);
    benchmark::RegisterBenchmark(("floor/" + name).c_str(), function, alone)
        ->UseManualTime()
        ->Iterations(1);
}

const bool g_are_registered = [] {
    add_row("contention/two_processes", two_processes, false, true);
    add_row("contention/two_processes_lock_alone", two_processes_lock, false, true);
    add_row("contention/two_threads", two_threads, 2, 1);
    add_row("contention/two_threads_primitives", two_threads_primitives, 2, 1);
    add_row("contention/two_threads_mutex_alone", two_threads_mutex, 2, 1);
    add_row("contention/two_threads_locks_alone", two_threads_locks, 2, 1);
    add_row("contention/two_threads_values_alone", two_threads_values, 2, 1);
    return true;
}();

}  // namespace
}  // namespace mox::bench
