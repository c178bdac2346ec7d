// One run of the growth benchmarks: a process that makes a pool and builds objects, and one that
// attaches the pool and copies them all, both fresh and in a System V namespace of their own.
#ifndef MOX_BENCH_GROWTH_RUN_HPP
#define MOX_BENCH_GROWTH_RUN_HPP

#include <glib.h>

namespace mox::bench {

inline constexpr guint32 kGrowthProperties = 10;

struct GrowthTimes {
    gint64 build_ns;   // all objects: embryo, properties, added, ready
    gint64 attach_ns;  // the pool attached, every record asked for, sent over a socket, published
};

// Runs it for a number of objects. The calling process must have no pool. Returns false, after a
// word on the error output, when a step failed, values read by the second process included.
bool run_growth(int objects, GrowthTimes* times);

}  // namespace mox::bench

#endif
