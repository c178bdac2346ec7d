// Whether an owner runs, and what one that is gone left behind.
#ifndef MOX_TOOL_DOCTOR_OWNER_HPP
#define MOX_TOOL_DOCTOR_OWNER_HPP

#include <glib.h>
#include <sys/types.h>

#include <string>

#include "doctor_answer.hpp"
#include "doctor_finding.hpp"

namespace mox::tool {

// The pool's segment in this IPC namespace.
struct FoundSegment {
    bool exists = false;
    int id = -1;
    pid_t creator = 0;              // 0: a process of another PID namespace
    bool creator_is_alive = false;  // and has it mapped, as far as this user may see that
    guint64 bytes = 0;
    guint64 attached = 0;       // processes that have it mapped
    bool is_removable = false;  // by this user
};
FoundSegment find_segment();

Finding judge_owner(const FoundOwner& owner, const std::string& run_dir);
// A segment of a living owner is fine, one of a dead owner is not, least of all when this user's
// owner could not remove it.
Finding judge_segment(const FoundSegment& segment, const FoundOwner& owner);

// Locks and queues of dead owners. An owner that starts removes them.
Finding check_leftovers();

}  // namespace mox::tool

#endif
