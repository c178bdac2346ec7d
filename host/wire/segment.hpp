// A System V shared memory segment as the system lists it.
#ifndef MOXHOST_WIRE_SEGMENT_HPP
#define MOXHOST_WIRE_SEGMENT_HPP

#include <sys/types.h>

#include <cstdint>
#include <optional>

namespace mox::host::wire {

struct Segment {
    int id = -1;
    std::uint64_t bytes = 0;
    pid_t creator = 0;           // 0: a process of another PID namespace
    std::uint64_t attached = 0;  // processes that have it mapped
    uid_t user = 0;              // whose it is
    uid_t maker = 0;             // the user who made it
    std::int64_t changed_s = 0;  // when it was made, or its modes were set, since 1970
};

// The segment with a key in this IPC namespace, also one that this user may not look into; nothing
// when there is none.
std::optional<Segment> find_segment(key_t key);

}  // namespace mox::host::wire

#endif
