// Finding what dead owners left behind.
//
// What holds: queues are listed before claims are read, and an owner claims a key before it makes
// the queue, so a listed queue whose claim is then missing has no live owner. Segments that are not
// this layer's are left alone.
#include "process_identity.hpp"

#include "sem_set.hpp"

#include <moxplat/osal.h>
#include <sys/msg.h>
#include <sys/shm.h>
#include <cerrno>
#include <utility>
#include <vector>

namespace mox::osal {

namespace {

struct Sweep {
    std::vector<std::pair<key_t, gint32>>
        queues;  // claim number and id of every queue in the layer's range
    guint32 live_claims[queue_keys / 32];
    bool only_counts;  // nothing is removed
    gint32 found;      // and removed
    bool refused;
};

void list_queues(Sweep& sweep) {
    for (key_t claim = 0; claim < queue_keys; ++claim) {
        const int id = msgget(first_queue_key + claim, 0);
        if (id >= 0) sweep.queues.emplace_back(claim, id);
    }
}

bool owner_is_alive(const SetHead& head) {
    const guint64 start =
        (static_cast<guint64>(head.owner_start_high) << 32) | head.owner_start_low;
    return process_is_alive(head.owner_pid, start);
}

bool remove_segment(gint32 id) {
    return shmctl(id, IPC_RMID, nullptr) == 0;
}

bool remove_message_queue(gint32 id) {
    return msgctl(id, IPC_RMID, nullptr) == 0;
}

void settle_leftover(Sweep& sweep, bool (*remove)(gint32), const char* what, gint32 id) {
    if (sweep.only_counts || remove(id)) {
        ++sweep.found;
        return;
    }
    if (errno == EINVAL || errno == EIDRM)  // somebody else was faster
        return;
    g_warning("%s %d of a dead owner cannot be removed: %s", what, id, g_strerror(errno));
    sweep.refused = true;
}

// Judges one attached set: keeps a live owner's claims, closes and removes a dead owner's set.
void judge_set(Sweep& sweep, gint32 semid, SetHead& head, pid_t maker) {
    const guint32 magic = head.magic.load(std::memory_order_acquire);
    // Without a magic the maker is still at work, or died at it.
    const bool alive = magic == set_magic ? owner_is_alive(head) : process_is_alive(maker, 0);
    if (alive) {
        for (gsize word = 0; word < G_N_ELEMENTS(sweep.live_claims); ++word)
            sweep.live_claims[word] |= head.queue_claims[word].load();
        return;
    }
    if (!sweep.only_counts) head.closed.store(1, std::memory_order_release);
    settle_leftover(sweep, remove_segment, "semaphore set", semid);
}

void visit_set(Sweep& sweep, key_t key) {
    shmid_ds segment = {};
    const int id = shmget(key, 0, 0);
    if (id < 0 || shmctl(id, IPC_STAT, &segment) != 0 || segment.shm_segsz != sizeof(SemSet))
        return;
    void* const mapped = shmat(id, nullptr, 0);
    if (reinterpret_cast<gintptr>(mapped) == -1) return;
    SetHead& head = static_cast<SemSet*>(mapped)->head;
    const guint32 magic = head.magic.load(std::memory_order_acquire);
    if (magic == set_magic || magic == 0) judge_set(sweep, id, head, segment.shm_cpid);
    shmdt(mapped);
}

void settle_unclaimed_queues(Sweep& sweep) {
    for (const auto& [claim, id] : sweep.queues) {
        msqid_ds queue = {};
        const bool claimed = (sweep.live_claims[claim / 32] & (1U << (claim % 32))) != 0;
        // Another user's queue cannot be looked at; it is that user's to judge.
        if (!claimed && msgctl(id, IPC_STAT, &queue) == 0)
            settle_leftover(sweep, remove_message_queue, "queue", id);
    }
}

void look_everywhere(Sweep& sweep) {
    list_queues(sweep);
    for (key_t key = first_set_key; key < first_set_key + set_keys; ++key) visit_set(sweep, key);
    settle_unclaimed_queues(sweep);
}

}  // namespace

}  // namespace mox::osal

using namespace mox::osal;

gint32 osal_process_remove_stale(gint32* removed) {
    Sweep sweep = {};
    look_everywhere(sweep);
    if (removed != nullptr) *removed = sweep.found;
    return sweep.refused ? OSAL_ERR_SYSTEM : OSAL_OK;
}

gint32 osal_process_find_stale(gint32* found) {
    if (found == nullptr) return OSAL_ERR_ARGUMENT;
    Sweep sweep = {};
    sweep.only_counts = true;
    look_everywhere(sweep);
    *found = sweep.found;
    return OSAL_OK;
}
