// Which core a process or thread runs on.
#ifndef MOX_BENCH_CORES_HPP
#define MOX_BENCH_CORES_HPP

#include <sched.h>
#include <sys/types.h>

namespace mox::bench {

// Whether this process may use two cores.
bool has_two_cores();

// Keeps a thread (0: the caller) on the first or second core that this process was started on.
// Returns false when there is no such core.
bool pin(pid_t thread, int which);

// Lets the calling thread back on the cores that it had before, at the end of a scope.
class PinnedScope {
public:
    explicit PinnedScope(int which);
    ~PinnedScope();
    PinnedScope(const PinnedScope&) = delete;
    PinnedScope& operator=(const PinnedScope&) = delete;

private:
    cpu_set_t before_;
};

}  // namespace mox::bench

#endif
