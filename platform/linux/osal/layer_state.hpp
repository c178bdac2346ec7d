// What one process keeps of this layer: the sets and queues that it owns, under one mutex.
//
// What holds: the mutex is taken on the slow paths only (attach, create, free, remove), never on a
// take or release of an attached set, and nothing waits under it. A forked child owns nothing of
// its parent's; it keeps the attachments.
#ifndef MOXPLAT_LINUX_OSAL_LAYER_STATE_HPP
#define MOXPLAT_LINUX_OSAL_LAYER_STATE_HPP

#include "sem_set.hpp"

#include <deque>
#include <mutex>
#include <vector>

namespace mox::osal {

struct OwnedSet {
    gint32 semid;
    SemSet* set;
    std::vector<bool> in_use;  // by slot
    gint32 fresh;              // slots from here on were never handed out
};

struct OwnedQueue {
    gint32 id;
    key_t claim;  // key - first_queue_key
};

struct LayerState {
    std::mutex mutex;
    // All under the mutex:
    std::vector<OwnedSet> sets;
    std::deque<gint32> freed;  // sem_index of slots given back, oldest first
    std::vector<OwnedQueue> queues;
    int mode = 0600;  // of the sets and queues that are made
};

// The process's state; lives as long as the process.
LayerState& layer_state();

}  // namespace mox::osal

#endif
