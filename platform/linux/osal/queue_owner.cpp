// A System V queue does not record who made it, so its owner does: in the head of the owner's first
// semaphore set, one bit per key of the layer's range.
//
// What holds: the bit is set before the queue exists and cleared after it is gone, so a queue of
// this range without the bit of a live owner is a leftover.
#include "queue_owner.hpp"

#include "queue_limits.hpp"
#include "sem_owner.hpp"

#include <moxplat/osal.h>
#include <sys/msg.h>
#include <algorithm>
#include <cerrno>

namespace mox::osal {

namespace {

std::atomic<guint32>& claim_word(LayerState& state, key_t claim) {
    return state.sets.front().set->head.queue_claims[claim / 32];
}

void set_claim(LayerState& state, key_t claim) {
    claim_word(state, claim).fetch_or(1U << (claim % 32));
}

void clear_claim(LayerState& state, key_t claim) {
    claim_word(state, claim).fetch_and(~(1U << (claim % 32)));
}

// An empty queue behind a key that is free; the id, or -1 with errno set. Ids are never 0, because
// callers keep 0 for "no queue"; the system gives that id once, to the first queue of a namespace.
int make_queue(key_t key, int mode) {
    const int id = msgget(key, IPC_CREAT | IPC_EXCL | mode);
    if (id != 0) return id;
    msgctl(id, IPC_RMID, nullptr);
    return msgget(key, IPC_CREAT | IPC_EXCL | mode);
}

// Makes the queue behind the first free key; the id, or -1 with errno set. claim: output.
int new_queue(LayerState& state, key_t* claim) {
    for (key_t at = 0; at < queue_keys; ++at) {
        const auto same = [at](const OwnedQueue& queue) { return queue.claim == at; };
        if (std::any_of(state.queues.begin(), state.queues.end(), same)) continue;
        set_claim(state, at);
        *claim = at;
        const int id = make_queue(first_queue_key + at, state.mode);
        if (id >= 0) return id;
        const int error = errno;
        clear_claim(state, at);
        errno = error;
        if (error != EEXIST) return -1;
    }
    errno = ENOSPC;
    return -1;
}

}  // namespace

gint32 remove_queue(gint32 queue_id) {
    if (msgctl(queue_id, IPC_RMID, nullptr) == 0) return OSAL_OK;
    if (errno == EINVAL || errno == EIDRM) return OSAL_ERR_BAD_ID;
    g_warning("queue %d cannot be removed: %s", queue_id, g_strerror(errno));
    return OSAL_ERR_SYSTEM;
}

}  // namespace mox::osal

using namespace mox::osal;

gint32 osal_process_queue_create(gint32* queue_id) {
    if (queue_id == nullptr) return OSAL_ERR_ARGUMENT;
    *queue_id = -1;
    LayerState& state = layer_state();
    const std::lock_guard lock{state.mutex};
    // A queue gets its room from the limits when it is made.
    raise_queue_limits();
    if (state.sets.empty()) {
        const gint32 result = add_owned_set(state);
        if (result != OSAL_OK) return result;
    }
    OwnedQueue queue = {};
    queue.id = new_queue(state, &queue.claim);
    if (queue.id < 0) {
        const int error = errno;
        g_warning("no message queue made (%u exist here): %s; see kernel.msgmni",
                  static_cast<guint>(state.queues.size()), g_strerror(error));
        return error == ENOSPC || error == ENOMEM ? OSAL_ERR_LIMIT : OSAL_ERR_SYSTEM;
    }
    state.queues.push_back(queue);
    *queue_id = queue.id;
    return OSAL_OK;
}

gint32 osal_process_queue_delete(gint32 queue_id) {
    LayerState& state = layer_state();
    const std::lock_guard lock{state.mutex};
    const auto found =
        std::find_if(state.queues.begin(), state.queues.end(),
                     [queue_id](const OwnedQueue& queue) { return queue.id == queue_id; });
    if (found == state.queues.end()) return OSAL_ERR_BAD_ID;
    const gint32 result = remove_queue(queue_id);
    if (result != OSAL_ERR_SYSTEM) {
        clear_claim(state, found->claim);
        state.queues.erase(found);
    }
    return result;
}
