#include "cores.hpp"

#include <glib.h>

namespace mox::bench {
namespace {

// The cores of the process's start, before anything is pinned.
const cpu_set_t& cores_at_start() {
    static const cpu_set_t cores = [] {
        cpu_set_t set;
        CPU_ZERO(&set);
        sched_getaffinity(0, sizeof(set), &set);
        return set;
    }();
    return cores;
}

// -1 when there are not so many.
int core_number(int which) {
    for (int core = 0; core < CPU_SETSIZE; ++core) {
        if (CPU_ISSET(static_cast<gsize>(core), &cores_at_start()) && which-- == 0) {
            return core;
        }
    }
    return -1;
}

}  // namespace

bool has_two_cores() {
    return core_number(1) >= 0;
}

bool pin(pid_t thread, int which) {
    const int core = core_number(which);
    if (core < 0) {
        return false;
    }
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<gsize>(core), &set);
    return sched_setaffinity(thread, sizeof(set), &set) == 0;
}

PinnedScope::PinnedScope(int which) {
    CPU_ZERO(&before_);
    sched_getaffinity(0, sizeof(before_), &before_);
    pin(0, which);
}

PinnedScope::~PinnedScope() {
    sched_setaffinity(0, sizeof(before_), &before_);
}

}  // namespace mox::bench
