// Whether an owner answers, and not only its socket.
#ifndef MOX_TOOL_DOCTOR_ANSWER_HPP
#define MOX_TOOL_DOCTOR_ANSWER_HPP

#include <sys/types.h>

#include <string>

namespace mox::tool {

// Who is at a run directory's socket.
struct FoundOwner {
    bool listens = false;
    pid_t pid = 0;  // 0: nobody, or a process of another PID namespace
    uid_t user = 0;
    bool is_silent = false;  // it belongs to this user, and a call to it was not answered in time
    bool is_stopped = false;
};

// Waits patience_ms milliseconds at most for the answer to a call that changes nothing.
FoundOwner find_owner(const std::string& run_dir, int patience_ms);

// The letter for a process's state, as /proc gives it: 'T' stopped, 'Z' dead but not yet waited
// for; 0 when it cannot be read.
char state_of_process(pid_t pid);

}  // namespace mox::tool

#endif
