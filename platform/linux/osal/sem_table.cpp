// Nothing is believed of a set id that comes from outside: key, size, magic and word size are
// checked before the first slot is touched.
#include "sem_table.hpp"

#include "layer_state.hpp"

#include <moxplat/osal.h>
#include <sys/shm.h>
#include <cerrno>

namespace mox::osal {

constinit TableEntry attached_sets[table_size] = {};

namespace {

guint32 published = 0;  // entries in use; under the layer's mutex

// True when the id names a segment that can be one of this layer's sets. A removed set has lost its
// key.
bool looks_like_a_set(gint32 semid) {
    shmid_ds segment = {};
    if (semid < 0 || shmctl(semid, IPC_STAT, &segment) != 0) return false;
    const key_t key = segment.shm_perm.__key;
    return key >= first_set_key && key < first_set_key + set_keys &&
           segment.shm_segsz == sizeof(SemSet);
}

}  // namespace

bool publish_set(gint32 semid, SemSet* set) {
    guint32 at = static_cast<guint32>(semid) % table_size;
    gint32 key = attached_sets[at].key.load(std::memory_order_relaxed);
    while (key != 0 && key != ~semid) {
        at = (at + 1) % table_size;
        key = attached_sets[at].key.load(std::memory_order_relaxed);
    }
    if (key == 0 && published == table_limit) return false;
    published += key == 0 ? 1 : 0;
    attached_sets[at].set.store(set, std::memory_order_release);
    attached_sets[at].key.store(~semid, std::memory_order_release);
    return true;
}

gint32 attach_set(gint32 semid, SemSet** set) {
    const std::lock_guard lock{layer_state().mutex};
    *set = find_set(semid);
    if (*set != nullptr && (*set)->head.closed.load(std::memory_order_acquire) == 0) return OSAL_OK;
    // A closed set stays closed, but the system may give its id to a new one.
    if (!looks_like_a_set(semid)) return OSAL_ERR_BAD_ID;
    void* const mapped = shmat(semid, nullptr, 0);
    // Compared as a number: the failure value is no pointer.
    if (reinterpret_cast<gintptr>(mapped) == -1) {
        return errno == EINVAL || errno == EIDRM || errno == EACCES ? OSAL_ERR_BAD_ID
                                                                    : OSAL_ERR_LIMIT;
    }
    auto* const candidate = static_cast<SemSet*>(mapped);
    const bool complete = candidate->head.magic.load(std::memory_order_acquire) == set_magic;
    if (!complete || candidate->head.word_size != sizeof(void*)) {
        if (complete) {
            g_warning(
                "semaphore set %d was made by a process of %u-bit words, this one has %u-bit "
                "words: not attached",
                semid, candidate->head.word_size * 8, static_cast<guint>(sizeof(void*) * 8));
        }
        shmdt(mapped);
        return OSAL_ERR_BAD_ID;
    }
    if (!publish_set(semid, candidate)) {
        g_warning("semaphore set %d not attached: this process has %u sets already", semid,
                  table_limit);
        shmdt(mapped);
        return OSAL_ERR_LIMIT;
    }
    *set = candidate;
    return OSAL_OK;
}

}  // namespace mox::osal
