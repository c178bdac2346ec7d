// Threads get their lookup locks in turn.
#include "lom/table_lock.hpp"

#include <atomic>

namespace mox {

LookupLock g_lookup_locks[kLookupLocks];

namespace {

std::atomic<unsigned> next_lock{0};

// The initial-exec model makes the access one instruction.
thread_local constinit LookupLock* own_lock __attribute__((tls_model("initial-exec"))) = nullptr;

}  // namespace

LookupLock& own_lookup_lock() {
    if (own_lock == nullptr) [[unlikely]] {
        own_lock =
            &g_lookup_locks[next_lock.fetch_add(1, std::memory_order_relaxed) % kLookupLocks];
    }
    return *own_lock;
}

void take_lookup_locks() {
    for (LookupLock& lock : g_lookup_locks) {
        pthread_mutex_lock(&lock.mutex);
    }
}

void release_lookup_locks() {
    for (LookupLock& lock : g_lookup_locks) {
        pthread_mutex_unlock(&lock.mutex);
    }
}

}  // namespace mox
