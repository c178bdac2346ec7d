// The calling thread's kernel id, cached so that a take of a semaphore needs no system call.
#ifndef MOXPLAT_LINUX_OSAL_THREAD_ID_HPP
#define MOXPLAT_LINUX_OSAL_THREAD_ID_HPP

#include <glib.h>
#include <unistd.h>

namespace mox::osal {

// The initial-exec model makes the access one instruction; eight bytes of static thread storage is
// all it costs.
extern thread_local constinit gint32 cached_thread_id __attribute__((tls_model("initial-exec")));

inline gint32 thread_id() {
    if (cached_thread_id == 0) [[unlikely]]
        cached_thread_id = gettid();
    return cached_thread_id;
}

// A forked child's thread has another id than the thread that it was copied from.
inline void forget_thread_id() {
    cached_thread_id = 0;
}

}  // namespace mox::osal

#endif
