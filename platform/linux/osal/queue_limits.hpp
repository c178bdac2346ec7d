// The system's limits on message queues, and what this layer needs of them.
#ifndef MOXPLAT_LINUX_OSAL_QUEUE_LIMITS_HPP
#define MOXPLAT_LINUX_OSAL_QUEUE_LIMITS_HPP

namespace mox::osal {

// Raises kernel.msgmax and kernel.msgmnb of this IPC namespace where they are too low and this
// process may; otherwise logs, once per process, the setting, its value and what is needed. The
// layer's mutex is held.
void raise_queue_limits();

}  // namespace mox::osal

#endif
