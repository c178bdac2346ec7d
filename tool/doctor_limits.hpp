// The System V limits of this IPC namespace against what an owner and its modules need.
#ifndef MOX_TOOL_DOCTOR_LIMITS_HPP
#define MOX_TOOL_DOCTOR_LIMITS_HPP

#include <glib.h>

#include <string>
#include <vector>

#include "doctor_finding.hpp"

namespace mox::tool {

// What is there already, and what an owner will ask for.
struct IpcUse {
    guint64 segments = 0;
    guint64 pages = 0;  // of all segments
    guint64 queues = 0;
    guint64 pool_bytes = 0;
    bool has_pool = false;  // a living owner has made it
};

// The figures of this namespace. pool_bytes, has_pool: as in IpcUse.
IpcUse count_ipc_use(guint64 pool_bytes, bool has_pool);

// The size of the pool that an owner would make: what SHAMRE_MEMORY_SIZE asks for, else the most
// that it can be.
guint64 wanted_pool_bytes();

// One finding for each limit. directory: holds a file for each limit, as /proc/sys/kernel does. The
// owner raises the two limits on messages by itself when it may write them.
std::vector<Finding> check_limits(const std::string& directory, const IpcUse& use);

}  // namespace mox::tool

#endif
