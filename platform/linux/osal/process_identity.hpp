// Who a process is beyond its id, which the system uses again: id and start time together name one
// process of this boot.
#ifndef MOXPLAT_LINUX_OSAL_PROCESS_IDENTITY_HPP
#define MOXPLAT_LINUX_OSAL_PROCESS_IDENTITY_HPP

#include <glib.h>
#include <sys/types.h>

namespace mox::osal {

// Start time of a process in clock ticks since boot; 0 when /proc does not tell.
guint64 process_start_time(pid_t pid);

// True unless the process is certainly gone: no such process, one that started at another time, or
// a zombie whose threads have all ended. A start of 0 is not compared.
bool process_is_alive(pid_t pid, guint64 start);

}  // namespace mox::osal

#endif
