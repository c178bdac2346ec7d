// Making and removing message queues.
#ifndef MOXPLAT_LINUX_OSAL_QUEUE_OWNER_HPP
#define MOXPLAT_LINUX_OSAL_QUEUE_OWNER_HPP

#include <glib.h>

namespace mox::osal {

// Removes a queue from the system. Returns OSAL_OK, OSAL_ERR_BAD_ID when it is gone already,
// OSAL_ERR_SYSTEM (logged).
gint32 remove_queue(gint32 queue_id);

}  // namespace mox::osal

#endif
