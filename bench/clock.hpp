// The clock of all benchmarks: one for all processes of the machine.
#ifndef MOX_BENCH_CLOCK_HPP
#define MOX_BENCH_CLOCK_HPP

#include <glib.h>
#include <time.h>

namespace mox::bench {

// CLOCK_MONOTONIC, ns.
inline gint64 now_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<gint64>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

}  // namespace mox::bench

#endif
