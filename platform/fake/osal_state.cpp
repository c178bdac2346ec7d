// The fake layer's memory, its reset, and the calls that belong to neither semaphores nor queues.
#include "osal_state.hpp"

namespace mox::fake::osal {

State& state() {
    static auto* const the_state = new State;
    return *the_state;
}

void reset() {
    State& s = state();
    const std::lock_guard lock{s.mutex};
    s.semaphores.clear();
    s.in_use.clear();
    s.next_index = 0;
    s.created.clear();
    s.freed.clear();
    s.bad_sem_frees = 0;
    s.create_plan = {};
    s.take_plan = {};
    s.queues.clear();
    s.removed_queues.clear();
    s.own_queues.clear();
    s.next_queue = 0;
    s.sent.clear();
    s.send_calls = 0;
    s.receive_calls = 0;
    s.send_plan = {};
    s.send_codes.clear();
    s.receive_codes.clear();
    s.tick = 0;
    s.remove_stale_calls = 0;
    s.release_all_calls = 0;
}

void set_tick(gulong milliseconds) {
    const std::lock_guard lock{state().mutex};
    state().tick = milliseconds;
}

gsize remove_stale_calls() {
    const std::lock_guard lock{state().mutex};
    return state().remove_stale_calls;
}

gsize release_all_calls() {
    const std::lock_guard lock{state().mutex};
    return state().release_all_calls;
}

}  // namespace mox::fake::osal

using namespace mox::fake::osal;

gulong osal_tick_get(void) {
    const std::lock_guard lock{state().mutex};
    return state().tick;
}

// What this layer makes has no modes.
void osal_process_share_with_group(gboolean is_shared) {
    (void)is_shared;
}

gint32 osal_process_remove_stale(gint32* removed) {
    const std::lock_guard lock{state().mutex};
    ++state().remove_stale_calls;
    if (removed != nullptr) *removed = 0;
    return OSAL_OK;
}

gint32 osal_process_find_stale(gint32* found) {
    if (found == nullptr) return OSAL_ERR_ARGUMENT;
    *found = 0;
    return OSAL_OK;
}

gint32 osal_process_release_all(void) {
    State& s = state();
    const std::lock_guard lock{s.mutex};
    ++s.release_all_calls;
    s.semaphores.clear();
    s.in_use.clear();
    for (const gint32 queue_id : s.own_queues) {
        s.queues.erase(queue_id);
        s.removed_queues.insert(queue_id);
    }
    s.own_queues.clear();
    s.changed.notify_all();
    return OSAL_OK;
}
