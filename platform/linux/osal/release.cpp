// The clean stop of an owner: everything that this process made goes, even when the system refuses
// one removal.
#include "queue_owner.hpp"
#include "sem_owner.hpp"

#include <moxplat/osal.h>

using namespace mox::osal;

gint32 osal_process_release_all(void) {
    LayerState& state = layer_state();
    const std::lock_guard lock{state.mutex};
    bool good = true;
    // Queues first: the claims to them live in the first set.
    for (const OwnedQueue& queue : state.queues)
        good = remove_queue(queue.id) != OSAL_ERR_SYSTEM && good;
    for (const OwnedSet& owned : state.sets) good = remove_owned_set(owned) && good;
    state.queues.clear();
    state.sets.clear();
    state.freed.clear();
    return good ? OSAL_OK : OSAL_ERR_SYSTEM;
}
