// Kills a victim at a step of its operation that can be chosen.
#ifndef MOX_KILLS_TRACER_HPP
#define MOX_KILLS_TRACER_HPP

#include <sys/types.h>

#include <functional>

namespace mox::kills {

enum class Step {
    system_call,  // the entries and the exits of the system calls of all its threads
    instruction   // the instructions of the thread that does the operation
};

struct Traced {
    unsigned steps = 0;  // that were made before the kill
    bool has_reached_end = false;
};

// Traces a victim that waits for its tracer and kills it at the given step of its operation, or
// behind the operation when it has fewer steps. last_step: from 1; 0 lets it come to the end.
// before_kill: called right before. Reaps the victim. Throws when it ended by itself.
Traced trace_and_kill(pid_t victim, Step step, unsigned last_step,
                      const std::function<void()>& before_kill);

// Kills a victim that is not traced, and reaps it.
void kill_untraced(pid_t victim, const std::function<void()>& before_kill);

}  // namespace mox::kills

#endif
