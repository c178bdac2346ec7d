// Taking and releasing: a look into the table of attached sets, then the mutex; no system call
// unless somebody waits.
//
// What holds: the holder's thread id is written while the mutex is held and cleared before it is
// released, so it equals the caller's id only for the thread that holds the slot. The mutex itself
// is robust and error-checking: a second take gives a code, and a dead holder's slot goes to the
// next taker.
#include "semaphore.hpp"

#include "sem_table.hpp"
#include "thread_id.hpp"
#include "waiters.hpp"

#include <moxplat/osal.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>

namespace mox::osal {

thread_local constinit gint32 cached_thread_id = 0;

gint32 settle_failed_lock(int error, gint32 semid, gint32 member, Slot* slot) {
    switch (error) {
        case EDEADLK:
            return OSAL_ERR_HELD;
        case EOWNERDEAD:
            pthread_mutex_consistent(&slot->mutex);
            g_warning("semaphore set %d member %d: its holder, thread %d, died; taken over", semid,
                      member, slot->holder.load(std::memory_order_relaxed));
            return OSAL_OK;
        default:
            g_warning("semaphore set %d member %d cannot be taken: %s", semid, member,
                      g_strerror(error));
            return OSAL_ERR_SYSTEM;
    }
}

namespace {

bool is_member(gint32 member) {
    return static_cast<guint32>(member) < static_cast<guint32>(slots_per_set);
}

bool is_closed(const SemSet& set) {
    return set.head.closed.load(std::memory_order_acquire) != 0;
}

// About as long as a holder needs.
void pause_briefly() {
    for (int count = 0; count < 8; ++count) {
#if defined(__i386__) || defined(__x86_64__)
        __builtin_ia32_pause();
#elif defined(__aarch64__) || (defined(__arm__) && __ARM_ARCH >= 7)
        __asm__ volatile("yield");
#else
        std::atomic_signal_fence(std::memory_order_seq_cst);
#endif
    }
}

// How often a taker looks again before it sleeps. With one core the holder cannot go on meanwhile.
int looks_before_sleep() {
    static const int looks = sysconf(_SC_NPROCESSORS_ONLN) > 1 ? 64 : 0;
    return looks;
}

// The result of the lock that the caller got in the end, or did not get. Holders mostly copy a
// value and let go, long before a sleeper could be woken, so the first waiting is done awake; for
// the holder's sake with a look only, not with a try.
int wait_for(Slot* slot) {
    for (int look = looks_before_sleep(); look > 0; --look) {
        pause_briefly();
        if (slot->holder.load(std::memory_order_relaxed) == 0) {
            const int error = pthread_mutex_trylock(&slot->mutex);
            if (error != EBUSY) return error;
        }
    }
    const WaiterNote note{*slot};
    return pthread_mutex_lock(&slot->mutex);
}

gint32 release(Slot* slot) {
    slot->holder.store(0, std::memory_order_relaxed);
    return pthread_mutex_unlock(&slot->mutex) == 0 ? OSAL_OK : OSAL_ERR_NOT_HELD;
}

}  // namespace

}  // namespace mox::osal

using namespace mox::osal;

gint32 osal_process_sem_p(gint32 semid, gint32 member) {
    if (!is_member(member)) return OSAL_ERR_BAD_ID;
    SemSet* set = find_set(semid);
    if (set == nullptr || is_closed(*set)) [[unlikely]] {
        const gint32 result = attach_set(semid, &set);
        if (result != OSAL_OK) return result;
    }
    Slot* const slot = &set->slots[member];
    int error = pthread_mutex_trylock(&slot->mutex);
    if (error == EBUSY) error = wait_for(slot);
    if (error != 0) [[unlikely]] {
        const gint32 result = settle_failed_lock(error, semid, member, slot);
        if (result != OSAL_OK) return result;
    }
    slot->holder.store(thread_id(), std::memory_order_relaxed);
    if (is_closed(*set)) [[unlikely]] {  // removed while this thread waited
        release(slot);
        return OSAL_ERR_BAD_ID;
    }
    return OSAL_OK;
}

gint32 osal_process_sem_v(gint32 semid, gint32 member) {
    if (!is_member(member)) return OSAL_ERR_BAD_ID;
    SemSet* set = find_set(semid);
    if (set == nullptr) [[unlikely]] {
        const gint32 result = attach_set(semid, &set);
        if (result != OSAL_OK) return result;
    }
    Slot* const slot = &set->slots[member];
    if (slot->holder.load(std::memory_order_relaxed) != thread_id()) [[unlikely]]
        return OSAL_ERR_NOT_HELD;
    return release(slot);
}
