// Control of the fake operating-system layer: what the code under test did with it, and what shall
// fail.
//
// What holds: semaphores are locks of this process, so threads of a test may block on each other; a
// second take by the same thread and a release by another give the codes of the contract. Every
// function may be called from any thread; reset() only while no other thread uses the layer. Plans
// count calls from the moment they are made: n = 1 is the next.
#ifndef MOXFAKE_OSAL_H
#define MOXFAKE_OSAL_H

#include <moxplat/osal.h>

#include <vector>

namespace mox::fake::osal {

// Forgets semaphores, queues, records and plans; the tick is 0 again.
void reset();

// --- semaphores
// -------------------------------------------------------------------------------------------------------

struct Semaphore {
    gint32 index = -1;
    gint32 semid = -1;
    gint32 member = -1;
    bool operator==(const Semaphore&) const = default;
};

// Semaphores per set: small, so that a test soon has several sets. Any member of a set that was
// made can be taken.
constexpr gint32 semaphores_per_set = 4;

// What the create and free calls did, in order. A failed creation records the -1s that it gave.
std::vector<Semaphore> created();
std::vector<Semaphore> freed();
// Free calls for a pair that was not in use; -1 and -1 are no mistake.
gsize bad_sem_frees();
// The n-th creation from now fails; it and all later ones do.
void fail_create(guint n);
void fail_creates_from(guint n);

// Successful takes and releases since reset(), of all semaphores or of one.
gsize takes();
gsize takes(gint32 semid, gint32 member);
gsize releases();
gsize releases(gint32 semid, gint32 member);
// True while a thread holds the semaphore; how many are held by any thread; by the calling thread.
bool is_held(gint32 semid, gint32 member);
gsize held();
gsize held_by_this_thread();

// The n-th take of any semaphore from now gives `code`; it and all later ones do. 0 ends both.
void fail_take(guint n, gint32 code = OSAL_ERR_SYSTEM);
void fail_takes_from(guint n, gint32 code = OSAL_ERR_SYSTEM);
// Every take of this semaphore gives `code`; OSAL_OK ends that.
void fail_takes_of(gint32 semid, gint32 member, gint32 code = OSAL_ERR_SYSTEM);

// --- queues
// -----------------------------------------------------------------------------------------------------------

// A message as it was handed over, and how many semaphores the sending thread held meanwhile.
struct SentMessage {
    gint32 queue_id = 0;
    std::vector<guint8> bytes;
    gsize semaphores_held = 0;
};

// The messages that were accepted, in order: all, or those to one queue. Receiving does not remove
// them from here.
std::vector<SentMessage> sent();
std::vector<SentMessage> sent_to(gint32 queue_id);
// Every send, refused ones included, and every receive.
gsize send_calls();
gsize receive_calls();

// The n-th send from now gives `code`; it and all later ones do. 0 ends both.
void fail_send(guint n, gint32 code = OSAL_ERR_FULL);
void fail_sends_from(guint n, gint32 code = OSAL_ERR_FULL);
// Every send to this queue gives `code`; OSAL_OK ends that.
void fail_sends_to(gint32 queue_id, gint32 code = OSAL_ERR_FULL);
// Every receive from this queue gives `code`; OSAL_OK ends that.
void fail_receives_from(gint32 queue_id, gint32 code = OSAL_ERR_SYSTEM);
// The queue does not exist (any other id above 0 does): sends and receives give OSAL_ERR_BAD_ID,
// waiters too.
void remove_queue(gint32 queue_id);

// --- tick and stop
// ----------------------------------------------------------------------------------------------------

void set_tick(gulong milliseconds);
// Calls of osal_process_remove_stale and osal_process_release_all.
gsize remove_stale_calls();
gsize release_all_calls();

}  // namespace mox::fake::osal

#endif
