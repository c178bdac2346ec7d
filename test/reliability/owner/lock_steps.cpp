// A thread's locks that processes share hang in a list that the kernel looks at when it dies; as
// long as that is empty the thread has none.
#include <linux/futex.h>
#include <sched.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "processes.hpp"

namespace mox::kill_owner {
namespace {

constexpr std::uint32_t lock_limit_ms = 10000;
constexpr unsigned asked_in_a_row = 50;  // whether the next stop has come, before this sleeps

}  // namespace

bool Process::waits_for_lock() const {
    std::ifstream file("/proc/" + std::to_string(pid_) + "/syscall");
    long number = -1;
    return file >> number && number == SYS_futex;
}

bool Process::holds_lock() const {
    robust_list_head* head = nullptr;
    std::size_t size = 0;
    if (syscall(SYS_get_robust_list, pid_, &head, &size) != 0 || head == nullptr) {
        return false;
    }
    errno = 0;
    const long first = ptrace(PTRACE_PEEKDATA, pid_, head, nullptr);
    return errno == 0 && first != reinterpret_cast<long>(head);
}

unsigned Process::run_in_lock(unsigned last_instruction) {
    unsigned held = 0;
    int signal = 0;
    const auto has_come_to_it = [&] {
        for (unsigned asked = 0; asked < asked_in_a_row; ++asked) {
            if (!is_stepping_) {
                is_stepping_ =
                    ptrace(PTRACE_SINGLESTEP, pid_, nullptr, static_cast<long>(signal)) == 0;
            }
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG | __WALL) != pid_) {
                sched_yield();
                continue;
            }
            asked = 0;
            is_stepping_ = false;
            if (note(status)) {
                return true;
            }
            signal = deliver(status);
            const bool is_held = holds_lock();
            held += is_held ? 1U : 0U;
            if (is_held ? held == last_instruction : held > 0) {
                return true;
            }
        }
        return false;
    };
    if (!within_ms(lock_limit_ms, has_come_to_it)) {
        throw Failed("the owner did not come to hold a lock within 10 seconds");
    }
    is_stopped_ = !has_ended_;
    return held;
}

}  // namespace mox::kill_owner
