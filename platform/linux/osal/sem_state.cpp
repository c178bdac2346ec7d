// Looking at semaphores without touching them.
#include "sem_table.hpp"
#include "waiters.hpp"

#include <moxplat/osal.h>
#include <sys/shm.h>

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

gint32 osal_process_list_busy(OSAL_BUSY_SEM_S* list, guint32 room, guint32* count) {
    if (count == nullptr || (list == nullptr && room > 0)) return OSAL_ERR_ARGUMENT;
    *count = 0;
    for (key_t key = first_set_key; key < first_set_key + set_keys; ++key) {
        const gint32 semid = shmget(key, 0, 0);
        OSAL_BUSY_SEM_S seen = {semid, 0, {}};
        // A set that cannot be looked at, or that goes meanwhile, ends its own round.
        for (; semid >= 0 && osal_process_sem_state(semid, seen.member, &seen.state) == OSAL_OK;
             ++seen.member) {
            if (seen.state.holder == 0 && seen.state.waiter_count == 0) continue;
            if (*count < room) list[*count] = seen;
            ++*count;
        }
    }
    return OSAL_OK;
}
