// Making semaphore sets: shared by the owner of semaphores and the owner of queues, whose claims
// live in a set's head.
#ifndef MOXPLAT_LINUX_OSAL_SEM_OWNER_HPP
#define MOXPLAT_LINUX_OSAL_SEM_OWNER_HPP

#include "layer_state.hpp"

namespace mox::osal {

// Makes one more set and adds it to the state. Returns OSAL_OK, OSAL_ERR_LIMIT or OSAL_ERR_SYSTEM;
// the cause is logged. The state's mutex is held.
gint32 add_owned_set(LayerState& state);

// Removes a set of this process for good; false when the system refused, which is logged. The
// state's mutex is held.
bool remove_owned_set(const OwnedSet& owned);

}  // namespace mox::osal

#endif
