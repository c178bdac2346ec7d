// Whether a lock between processes comes back when its holder dies.
#ifndef MOX_TOOL_DOCTOR_LOCKS_HPP
#define MOX_TOOL_DOCTOR_LOCKS_HPP

#include "doctor_finding.hpp"

namespace mox::tool {

// Has a child die with a lock in shared memory and takes it here, for a second at most. robustness:
// PTHREAD_MUTEX_ROBUST, as objects' locks are made, or PTHREAD_MUTEX_STALLED. Returns what the
// taking gave: EOWNERDEAD when all is well; ECHILD when there could be no such child.
int take_after_death(int robustness);

// What a result of take_after_death means.
Finding judge_take_after_death(int result);

Finding check_locks();

}  // namespace mox::tool

#endif
