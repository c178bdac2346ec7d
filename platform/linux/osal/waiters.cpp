// An entry is taken by exchanging 0, or the id of a thread that has died, for one's own id, and
// given back by its taker alone.
#include "waiters.hpp"

#include "thread_id.hpp"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace mox::osal {

namespace {

// The state's letter as the system tells it, 0 when it does not. The name before it may hold
// anything, a bracket too.
char thread_state(gint32 thread) {
    char path[32];
    char text[256] = {};
    std::snprintf(path, sizeof path, "/proc/%d/stat", thread);
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return 0;
    const ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    const char* const behind_name = length <= 0 ? nullptr : std::strrchr(text, ')');
    return behind_name == nullptr || behind_name[1] == 0 ? char{0} : behind_name[2];
}

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
    if (syscall(SYS_tkill, thread, no_signal) != 0 && errno == ESRCH) return false;
    const char state = thread_state(thread);
    return state != 'Z' && state != 'X';
}

WaiterNote::WaiterNote(Slot& slot) : entry_(take_entry(slot)) {}

WaiterNote::~WaiterNote() {
    if (entry_ != nullptr) entry_->store(0, std::memory_order_relaxed);
}

}  // namespace mox::osal
