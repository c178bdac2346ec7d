// What the fake operating-system layer remembers, shared by its semaphores and its queues.
#ifndef MOXFAKE_OSAL_STATE_HPP
#define MOXFAKE_OSAL_STATE_HPP

#include <moxfake/osal.h>

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

namespace mox::fake::osal {

using SemKey = std::pair<gint32, gint32>;  // semid, member

struct SemState {
    std::thread::id holder;    // no thread when free
    gint32 holder_thread = 0;  // its number, as the system gives it
    std::vector<gint32> waiters;
    gsize takes = 0;
    gsize releases = 0;
    gint32 take_code = OSAL_OK;
};

// A failure of one future call, or of that one and all later ones: 0 when none is planned.
struct Plan {
    guint calls_left = 0;
    gint32 code = OSAL_OK;
    bool is_for_ever = false;

    // Counts one call; the code that it shall give, OSAL_OK for a call that goes through.
    gint32 next() {
        if (calls_left == 0) return OSAL_OK;
        if (calls_left == 1 && is_for_ever) return code;
        --calls_left;
        return calls_left == 0 ? code : OSAL_OK;
    }
};

struct State {
    std::mutex mutex;
    std::condition_variable changed;  // a semaphore was released, a message came, a queue went

    // All under the mutex:
    std::map<SemKey, SemState> semaphores;
    std::set<gint32> in_use;  // indexes
    gint32 next_index = 0;
    std::vector<Semaphore> created;
    std::vector<Semaphore> freed;
    gsize bad_sem_frees = 0;
    Plan create_plan;
    Plan take_plan;

    std::map<gint32, std::deque<std::vector<guint8>>> queues;
    std::set<gint32> removed_queues;
    std::set<gint32> own_queues;
    gint32 next_queue = 0;
    std::vector<SentMessage> sent;
    gsize send_calls = 0;
    gsize receive_calls = 0;
    Plan send_plan;
    std::map<gint32, gint32> send_codes;
    std::map<gint32, gint32> receive_codes;

    gulong tick = 0;
    gsize remove_stale_calls = 0;
    gsize release_all_calls = 0;
};

State& state();

// Semaphores that the calling thread holds; the mutex is held.
gsize count_held_by_this_thread(const State& s);

}  // namespace mox::fake::osal

#endif
