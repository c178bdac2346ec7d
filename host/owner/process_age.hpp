// Whether a process lives, and since when: a process id alone may have passed to another process.
#ifndef MOXHOST_OWNER_PROCESS_AGE_HPP
#define MOXHOST_OWNER_PROCESS_AGE_HPP

#include <sys/types.h>

#include <cstdint>
#include <optional>

namespace mox::host {

// When a running process started, in seconds since 1970; nothing when there is no such process or
// it has ended.
std::optional<std::int64_t> start_time_of(pid_t pid);

// Whether the process has the System V segment with this id mapped; false when that cannot be told.
bool has_segment_mapped(pid_t pid, int segment_id);

}  // namespace mox::host

#endif
