// An entry is taken by exchanging 0, or the id of a thread that has died, for one's own id, and
// given back by its taker alone.
#include "waiters.hpp"

#include "thread_id.hpp"

#include <sys/syscall.h>
#include <cerrno>

namespace mox::osal {

namespace {

std::atomic<gint32>* take_entry(Slot& slot) {
    for (std::atomic<gint32>& entry : slot.waiters) {
        gint32 expected = entry.load(std::memory_order_relaxed);
        const bool is_free = expected == 0 || !thread_is_alive(expected);
        if (is_free && entry.compare_exchange_strong(expected, thread_id())) return &entry;
    }
    return nullptr;
}

}  // namespace

bool thread_is_alive(gint32 thread) {
    constexpr int no_signal = 0;
    return syscall(SYS_tkill, thread, no_signal) == 0 || errno != ESRCH;
}

WaiterNote::WaiterNote(Slot& slot) : entry_(take_entry(slot)) {}

WaiterNote::~WaiterNote() {
    if (entry_ != nullptr) entry_->store(0, std::memory_order_relaxed);
}

}  // namespace mox::osal
