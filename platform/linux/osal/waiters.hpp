// Who waits for a semaphore, noted in its slot by the waiting threads themselves. For looking at
// only: nothing is decided by it, and a thread that finds no free entry waits unnoted.
#ifndef MOXPLAT_LINUX_OSAL_WAITERS_HPP
#define MOXPLAT_LINUX_OSAL_WAITERS_HPP

#include "sem_set.hpp"

namespace mox::osal {

// False when there is no such thread any more, or it has ended and was not reaped yet.
bool thread_is_alive(gint32 thread);

// Notes the calling thread as waiting for as long as this lives.
class WaiterNote {
public:
    explicit WaiterNote(Slot& slot);
    ~WaiterNote();
    WaiterNote(const WaiterNote&) = delete;
    WaiterNote& operator=(const WaiterNote&) = delete;

private:
    std::atomic<gint32>* entry_;  // null when there was no room
};

}  // namespace mox::osal

#endif
