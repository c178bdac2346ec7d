// Looking at a semaphore without touching it.
#include "sem_table.hpp"
#include "waiters.hpp"

#include <moxplat/osal.h>

using namespace mox::osal;

gint32 osal_process_sem_state(gint32 semid, gint32 member, OSAL_SEM_STATE_S* state) {
    if (state == nullptr) return OSAL_ERR_ARGUMENT;
    if (member < 0 || member >= slots_per_set) return OSAL_ERR_BAD_ID;
    SemSet* set = find_set(semid);
    if (set == nullptr || set->head.closed.load(std::memory_order_acquire) != 0) {
        const gint32 result = attach_set(semid, &set);
        if (result != OSAL_OK) return result;
    }
    const Slot& slot = set->slots[member];
    *state = {};
    state->holder = slot.holder.load(std::memory_order_relaxed);
    state->holder_is_dead = state->holder != 0 && !thread_is_alive(state->holder) ? TRUE : FALSE;
    for (const std::atomic<gint32>& entry : slot.waiters) {
        const gint32 thread = entry.load(std::memory_order_relaxed);
        if (thread != 0 && thread_is_alive(thread)) state->waiters[state->waiter_count++] = thread;
    }
    return OSAL_OK;
}
