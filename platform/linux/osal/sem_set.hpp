// Layout of a semaphore set: one System V shared-memory segment with a head and an array of robust
// mutexes.
//
// What holds: the head has the same layout on every word size, so that an owner can judge any
// leftover; the slots hold the C library's mutexes, which differ between word sizes, so a set is
// only taken by processes of the owner's word size. A mutex is initialised once, before the magic
// is published, and never again: whoever waits on a slot that is given back and handed out anew
// waits on a mutex that stays valid.
#ifndef MOXPLAT_LINUX_OSAL_SEM_SET_HPP
#define MOXPLAT_LINUX_OSAL_SEM_SET_HPP

#include <glib.h>
#include <moxplat/osal.h>
#include <pthread.h>
#include <sys/types.h>
#include <atomic>

namespace mox::osal {

// The layer's own ranges of System V keys. The pool's keys (0x131231 and up) lie below them.
constexpr key_t first_set_key = 0x132000;
constexpr key_t set_keys = 1024;
constexpr key_t first_queue_key = 0x133000;
constexpr key_t queue_keys = 1024;

constexpr gint32 slots_per_set = 2048;
constexpr guint32 set_magic = 0x4d585331;
constexpr gsize cache_line = 64;

struct alignas(cache_line) SetHead {
    std::atomic<guint32> magic;  // set_magic once everything below is in place
    guint32 word_size;           // bytes of a pointer in the owner
    gint32 owner_pid;
    guint32 owner_start_low;  // start time of the owner in clock ticks since boot; 0 when it could
                              // not be read
    guint32 owner_start_high;
    std::atomic<guint32>
        closed;  // 1 once the set is removed: takes are refused, releases still work
    // Bit n: this owner made, or is making, the queue with key first_queue_key + n. Kept in the
    // owner's first set only.
    std::atomic<guint32> queue_claims[queue_keys / 32];
};

// One cache line each: two objects' locks never slow each other down.
struct alignas(cache_line) Slot {
    pthread_mutex_t mutex;
    std::atomic<gint32> holder;  // thread id of the holder; of a dead one until the next take
    // Thread ids of some that wait, 0 for a free entry; dead ones until the entry is needed.
    std::atomic<gint32> waiters[OSAL_SEM_WAITERS];
};

struct SemSet {
    SetHead head;
    Slot slots[slots_per_set];
};

static_assert(std::atomic<guint32>::is_always_lock_free && sizeof(std::atomic<guint32>) == 4);
static_assert(sizeof(SetHead) == 192 && alignof(SetHead) == cache_line);
static_assert(sizeof(Slot) == cache_line);
static_assert(sizeof(SemSet) == sizeof(SetHead) + sizeof(Slot) * slots_per_set);

}  // namespace mox::osal

#endif
