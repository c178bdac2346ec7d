// Scope guards of GLib's mutexes. GMutex is built on a futex that the thread sanitizer cannot see,
// so its builds are told of each take and release; GRecMutex needs no help.
#ifndef MOX_BASE_MUTEX_GUARD_HPP
#define MOX_BASE_MUTEX_GUARD_HPP

#include <glib.h>
#ifdef MOX_TSAN
#include <sanitizer/tsan_interface.h>
#endif

namespace mox {

class MutexGuard {
public:
    explicit MutexGuard(GMutex& mutex) : mutex_(mutex) {
        g_mutex_lock(&mutex_);
#ifdef MOX_TSAN
        __tsan_acquire(&mutex_);
#endif
    }
    ~MutexGuard() {
#ifdef MOX_TSAN
        __tsan_release(&mutex_);
#endif
        g_mutex_unlock(&mutex_);
    }
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

private:
    GMutex& mutex_;
};

class RecursiveGuard {
public:
    explicit RecursiveGuard(GRecMutex& mutex) : mutex_(mutex) { g_rec_mutex_lock(&mutex_); }
    ~RecursiveGuard() {
        if (held_) {
            g_rec_mutex_unlock(&mutex_);
        }
    }
    // Releases before scope end.
    void unlock() {
        held_ = false;
        g_rec_mutex_unlock(&mutex_);
    }
    RecursiveGuard(const RecursiveGuard&) = delete;
    RecursiveGuard& operator=(const RecursiveGuard&) = delete;

private:
    GRecMutex& mutex_;
    bool held_ = true;
};

}  // namespace mox

#endif
