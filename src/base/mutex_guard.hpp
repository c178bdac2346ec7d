// Scope guards of GLib's mutexes. What GLib builds them from is not instrumented, so builds for the
// thread sanitizer are told of each take and release.
#ifndef MOX_BASE_MUTEX_GUARD_HPP
#define MOX_BASE_MUTEX_GUARD_HPP

#include <glib.h>
#ifdef MOX_TSAN
#include <sanitizer/tsan_interface.h>
#endif

namespace mox {

inline void note_taken([[maybe_unused]] void* mutex) {
#ifdef MOX_TSAN
    __tsan_acquire(mutex);
#endif
}

inline void note_release([[maybe_unused]] void* mutex) {
#ifdef MOX_TSAN
    __tsan_release(mutex);
#endif
}

class MutexGuard {
public:
    explicit MutexGuard(GMutex& mutex) : mutex_(mutex) { lock(); }
    ~MutexGuard() { unlock(); }
    // For a gap within the scope, which ends with the mutex held.
    void lock() {
        g_mutex_lock(&mutex_);
        note_taken(&mutex_);
    }
    void unlock() {
        note_release(&mutex_);
        g_mutex_unlock(&mutex_);
    }
    MutexGuard(const MutexGuard&) = delete;
    MutexGuard& operator=(const MutexGuard&) = delete;

private:
    GMutex& mutex_;
};

class RecursiveGuard {
public:
    explicit RecursiveGuard(GRecMutex& mutex) : mutex_(mutex) {
        g_rec_mutex_lock(&mutex_);
        note_taken(&mutex_);
    }
    ~RecursiveGuard() {
        if (held_) {
            unlock();
        }
    }
    // Releases before scope end.
    void unlock() {
        held_ = false;
        note_release(&mutex_);
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
