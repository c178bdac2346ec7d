// The locks of the object table. A change of the table, and whatever must not meet one, holds the
// table's mutex; a change holds all lookup locks besides. A lookup holds only the one of its
// thread, so that lookups of several threads do not meet; what is not known here is then fetched
// under the mutex, without the lookup lock. Lookups are most of what a process does with the table,
// and the mutex alone would make two reading threads slower than one.
#ifndef MOX_LOM_TABLE_LOCK_HPP
#define MOX_LOM_TABLE_LOCK_HPP

#include <pthread.h>

#include "base/mutex_guard.hpp"
#include "lom/object_table.hpp"

namespace mox {

inline constexpr unsigned kLookupLocks = 8;

// Recursive: what ends with a record may look into the table. One cache line each.
struct alignas(64) LookupLock {
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};

extern LookupLock g_lookup_locks[kLookupLocks];

// The calling thread's; up to kLookupLocks threads have one of their own.
LookupLock& own_lookup_lock();

void take_lookup_locks();
void release_lookup_locks();

// For one lookup: nothing is called under it, and no other lock taken.
class LookupGuard {
public:
    LookupGuard() : lock_(own_lookup_lock()) { pthread_mutex_lock(&lock_.mutex); }
    ~LookupGuard() { pthread_mutex_unlock(&lock_.mutex); }
    LookupGuard(const LookupGuard&) = delete;
    LookupGuard& operator=(const LookupGuard&) = delete;

private:
    LookupLock& lock_;
};

// For a change of the table.
class TableChangeGuard {
public:
    TableChangeGuard() : table_(g_obj_hash_mutex) { take_lookup_locks(); }
    ~TableChangeGuard() { release_lookup_locks(); }
    TableChangeGuard(const TableChangeGuard&) = delete;
    TableChangeGuard& operator=(const TableChangeGuard&) = delete;

private:
    RecursiveGuard table_;
};

}  // namespace mox

#endif
