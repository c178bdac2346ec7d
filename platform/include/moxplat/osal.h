/*
 * Contract of the operating-system layer: process-shared semaphores, process message queues and the
 * tick counter.
 *
 * The object core only calls the five functions of the first group. The second group serves a host:
 * it makes and removes what the first group works on. Every call may come from any thread. No call
 * waits without a bound except a take of a semaphore that somebody else holds, and a receive that
 * was asked to wait.
 *
 * A product links its own library behind this header; the reference implementation is
 * platform/linux/osal.
 */
#ifndef MOXPLAT_OSAL_H
#define MOXPLAT_OSAL_H

#include <glib.h>
#include <moxplat/api.h>

G_BEGIN_DECLS

/* Results of this layer. 0 is success; callers hand the negative codes on unchanged. */
typedef enum {
    OSAL_OK = 0,
    OSAL_ERR_EMPTY = -1255,    /* the queue holds no message */
    OSAL_ERR_BAD_ID = -1256,   /* no such semaphore or queue: never made, or removed meanwhile */
    OSAL_ERR_FULL = -1257,     /* the queue has no room now; a later send may succeed */
    OSAL_ERR_TOO_BIG = -1258,  /* the message can never pass: above a limit or the buffer */
    OSAL_ERR_HELD = -1259,     /* this thread already holds the semaphore */
    OSAL_ERR_NOT_HELD = -1260, /* this thread does not hold the semaphore */
    OSAL_ERR_LIMIT = -1261,    /* a limit of the layer or the system on sets or queues is reached */
    OSAL_ERR_ARGUMENT = -1262, /* a null pointer, a size below 4, a message type below 1 */
    OSAL_ERR_SYSTEM = -1263    /* the system refused; the cause is in the log */
} OSAL_CODE_E;

/* Largest message of osal_process_queue_send in bytes, its 4-byte message type included. */
#define OSAL_QUEUE_MESSAGE_MAX 8268

/* Bytes of messages, without their types, that a queue holds at least where the system lets it. */
#define OSAL_QUEUE_ROOM 262144

/* Waiting threads that a semaphore can name. */
#define OSAL_SEM_WAITERS 4

/* How a semaphore stands. Threads are told by their thread ids. */
typedef struct tag_osal_sem_state {
    gint32 holder;                    /* 0 when nobody holds it */
    gboolean holder_is_dead;          /* the next taker gets it */
    guint32 waiter_count;             /* entries of waiters that are used */
    gint32 waiters[OSAL_SEM_WAITERS]; /* some of those that wait */
} OSAL_SEM_STATE_S;

/* A semaphore that is held or waited for. */
typedef struct tag_osal_busy_sem {
    gint32 semid;
    gint32 member;
    OSAL_SEM_STATE_S state;
} OSAL_BUSY_SEM_S;

/* How a queue stands. */
typedef struct tag_osal_queue_state {
    guint64 messages; /* that wait in it */
    guint64 bytes;    /* of these, without their 4-byte message types */
    guint64 limit;    /* bytes that it holds at most */
} OSAL_QUEUE_STATE_S;

/*
 * Takes a semaphore, waiting while another thread or process holds it.
 * semid: set id; member: slot in the set, 0 or more; both as the create call gave them. A slot
 * that is not handed out at present is still a working lock, because a record may carry the set of
 * one object and the member of another.
 * Returns OSAL_OK; OSAL_ERR_BAD_ID for an unknown or removed set, one that a process of another
 * word size made, or a member outside it; OSAL_ERR_HELD when this thread has it already;
 * OSAL_ERR_LIMIT when this process cannot attach one more set; OSAL_ERR_SYSTEM otherwise.
 * A holder that died gives the semaphore to the next taker at once; one log line names set, member
 * and the dead thread. Locks: not recursive; released only by the thread that took it. Any process.
 */
MOXPLAT_API gint32 osal_process_sem_p(gint32 semid, gint32 member);

/*
 * Releases a semaphore that this thread took.
 * semid, member: as for osal_process_sem_p.
 * Returns OSAL_OK; OSAL_ERR_NOT_HELD when this thread does not hold it; OSAL_ERR_BAD_ID for an
 * unknown set or member.
 * Locks: never waits. Any process.
 */
MOXPLAT_API gint32 osal_process_sem_v(gint32 semid, gint32 member);

/*
 * Posts one message; a full queue is an error at once, never a wait.
 * queue_id: queue; message: the bytes, beginning with a 4-byte signed message type of 1 or more,
 * not null; size: bytes including the message type, 4..OSAL_QUEUE_MESSAGE_MAX. The caller keeps
 * the buffer.
 * Returns OSAL_OK; OSAL_ERR_FULL; OSAL_ERR_TOO_BIG when the size is above the maximum, the
 * system's message limit or the whole queue's room; OSAL_ERR_BAD_ID for an unknown or removed
 * queue; OSAL_ERR_ARGUMENT; OSAL_ERR_SYSTEM.
 * Locks: none. Any process.
 */
MOXPLAT_API gint32 osal_process_queue_send(gint32 queue_id, gconstpointer message, gsize size);

/*
 * Fetches the oldest message of a queue.
 * queue_id: queue; message: buffer of `capacity` bytes, not null, filled from the 4-byte message
 * type on; capacity: bytes, 4 or more; wait: 0 returns at once, any other value waits until a
 * message comes or the queue is removed. The caller owns the buffer.
 * Returns the bytes received including the message type (4 or more); OSAL_ERR_EMPTY when wait is 0
 * and there is none; OSAL_ERR_TOO_BIG when the message does not fit (it stays in the queue);
 * OSAL_ERR_BAD_ID for an unknown queue or one that is removed while waiting; OSAL_ERR_ARGUMENT;
 * OSAL_ERR_SYSTEM. A loop that drains a queue ends on any negative.
 * Locks: hold none while waiting. Any process.
 */
MOXPLAT_API gint32 osal_process_queue_receive(gint32 queue_id, gpointer message, gsize capacity,
                                              gint32 wait);

/*
 * Reads the tick counter.
 * Returns milliseconds of a monotonic clock; it wraps where gulong does (after 49 days on 32-bit).
 * Locks: none. Any process.
 */
MOXPLAT_API gulong osal_tick_get(void);

/*
 * Says whom the sets and queues are for that this process makes from now on: its own user (mode
 * 0600, as it is from the start), or its effective group, too (0660).
 * is_shared: TRUE for the group. Those that are there stay as they are.
 * Locks: the layer's own, briefly. An owner, before it makes anything.
 */
MOXPLAT_API void osal_process_share_with_group(gboolean is_shared);

/*
 * Makes one semaphore, free to take; fit as the object core's semaphore-create hook.
 * sem_index, semid, sem_member: outputs, not null. sem_index numbers the semaphore within this
 * process and is what osal_process_sem_free wants back; semid and sem_member are what every
 * process takes it by. On failure all three become -1, the cause is logged, and a later take gives
 * OSAL_ERR_BAD_ID.
 * Locks: the layer's own, briefly. The process that calls is the semaphore's owner.
 */
MOXPLAT_API void osal_process_sem_create(gint32* sem_index, gint32* semid, gint32* sem_member);

/*
 * Gives one semaphore back; fit as the object core's semaphore-free hook.
 * sem_index, sem_member: as the create call gave them; -1 and -1 are ignored, any other pair that
 * is not in use is refused with a log line. A semaphore that somebody still holds is handed out
 * again only after its release.
 * Locks: the layer's own, briefly. Only the process that made it.
 */
MOXPLAT_API void osal_process_sem_free(gint32 sem_index, gint32 sem_member);

/*
 * Makes one empty queue (mode: osal_process_share_with_group), after raising the system's message
 * limits where that is permitted; where it is not, a log line names the setting, its value and the
 * value needed. queue_id: output, not null; 1 or more (0 means "no queue" to callers), -1 on
 * failure. Returns OSAL_OK; OSAL_ERR_LIMIT when the system or this layer has no room for a queue;
 * OSAL_ERR_ARGUMENT; OSAL_ERR_SYSTEM.
 * Locks: the layer's own, briefly. The process that calls is the queue's owner: when it is dead,
 * the queue is stale.
 */
MOXPLAT_API gint32 osal_process_queue_create(gint32* queue_id);

/*
 * Removes a queue and what it holds; waiting receivers get OSAL_ERR_BAD_ID.
 * queue_id: a queue that this process made.
 * Returns OSAL_OK; OSAL_ERR_BAD_ID when it is not a queue of this process or gone already;
 * OSAL_ERR_SYSTEM.
 * Locks: the layer's own, briefly. Only the process that made it.
 */
MOXPLAT_API gint32 osal_process_queue_delete(gint32 queue_id);

/*
 * Removes the semaphore sets and queues that dead owners left behind; never those of a live one.
 * removed: output, how many sets and queues were removed; may be null.
 * Returns OSAL_OK; OSAL_ERR_SYSTEM when a leftover was found that this user may not remove (named
 * in the log).
 * Locks: none. A starting owner, before it makes anything.
 */
MOXPLAT_API gint32 osal_process_remove_stale(gint32* removed);

/*
 * Counts what osal_process_remove_stale would remove, and removes nothing.
 * found: output, not null.
 * Returns OSAL_OK; OSAL_ERR_ARGUMENT.
 * Locks: none. Any process.
 */
MOXPLAT_API gint32 osal_process_find_stale(gint32* found);

/*
 * Tells who holds a semaphore and who waits for it, as it was a moment ago.
 * semid, member: as for osal_process_sem_p; state: output, not null, set on success only. A holder
 * that died is told until the next take; it is dead also while nobody has reaped its process. A
 * thread that waits while OSAL_SEM_WAITERS others do may be left out. Returns OSAL_OK;
 * OSAL_ERR_ARGUMENT; OSAL_ERR_BAD_ID and OSAL_ERR_LIMIT as osal_process_sem_p. Locks: takes none,
 * never waits. Any process.
 */
MOXPLAT_API gint32 osal_process_sem_state(gint32 semid, gint32 member, OSAL_SEM_STATE_S* state);

/*
 * Lists the semaphores that are held or waited for, of every set that this user may look at: what
 * is needed to see who stands in the way when no process answers that knows what they guard. list:
 * output of room entries, nullable when room is 0; count: output, not null, how many there are,
 * which may be more than room. Returns OSAL_OK; OSAL_ERR_ARGUMENT. Locks: takes none, never waits.
 * Any process.
 */
MOXPLAT_API gint32 osal_process_list_busy(OSAL_BUSY_SEM_S* list, guint32 room, guint32* count);

/*
 * Tells how many messages wait in a queue.
 * queue_id: queue; state: output, not null, set on success only.
 * Returns OSAL_OK; OSAL_ERR_ARGUMENT; OSAL_ERR_BAD_ID for an unknown or removed queue;
 * OSAL_ERR_SYSTEM.
 * Locks: none. Any process.
 */
MOXPLAT_API gint32 osal_process_queue_state(gint32 queue_id, OSAL_QUEUE_STATE_S* state);

/*
 * Removes every semaphore set and queue that this process made: the clean stop of an owner. Takes
 * of those semaphores give OSAL_ERR_BAD_ID from now on, in every process; a semaphore that is held
 * can still be released. A process that made nothing gets OSAL_OK.
 * Returns OSAL_OK; OSAL_ERR_SYSTEM when the system refused a removal (named in the log; the rest
 * is removed).
 * Locks: the layer's own, briefly. Only the owner.
 */
MOXPLAT_API gint32 osal_process_release_all(void);

/*
 * Tells what a code of this layer means.
 * code: a value of OSAL_CODE_E.
 * Returns a constant text, never null ("unknown code" for others); do not free.
 * Locks: none. Any process.
 */
MOXPLAT_API const gchar* osal_error_text(gint32 code);

G_END_DECLS

#endif
