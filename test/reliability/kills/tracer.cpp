// Every thread of the victim stops at each of its system calls from the beginning, so that those
// which the library makes are known when the operation begins; only then stops are counted. With
// single steps, the other threads run freely.
#include "tracer.hpp"

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "shared_page.hpp"
#include "victim.hpp"

namespace mox::kills {
namespace {

constexpr int system_call_stop = SIGTRAP | 0x80;
constexpr int marks_in_all = 3;  // start, before the operation, behind it

class Trace {
public:
    Trace(pid_t victim, Step step, unsigned last_step)
        : victim_(victim), step_(step), last_step_(last_step) {
        constexpr long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL;
        if (ptrace(PTRACE_SEIZE, victim, nullptr, options) != 0) {
            throw Failed("the victim cannot be traced, errno " + std::to_string(errno));
        }
        shared_page().is_traced = tracer_is_there;
    }

    Traced run(const std::function<void()>& before_kill) {
        for (;;) {
            int status = 0;
            const pid_t thread = waitpid(-victim_, &status, __WALL);
            if (thread < 0) {
                if (errno == EINTR) continue;
                throw Failed("the victim is lost, errno " + std::to_string(errno));
            }
            if (!WIFSTOPPED(status)) {
                expect_other_thread(thread, status);
                continue;
            }
            if (is_last_stop(thread, status)) {
                before_kill();
                kill(victim_, SIGKILL);
                reap();
                return traced_;
            }
            resume(thread, status);
        }
    }

private:
    void expect_other_thread(pid_t thread, int status) const {
        if (thread == victim_) {
            throw_failure_of_others();
            throw Failed("the victim ended by itself, wait status " + std::to_string(status) +
                         (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM
                              ? ": it did not come to the end in time"
                              : ""));
        }
    }

    bool is_inside() const { return marks_ == marks_in_all - 1; }

    bool is_mark(pid_t thread, int status) const {
        return thread == victim_ && WSTOPSIG(status) == SIGUSR1 && (status >> 16) == 0;
    }

    bool is_step(pid_t thread, int status) const {
        if (step_ == Step::system_call) {
            return WSTOPSIG(status) == system_call_stop;
        }
        return thread == victim_ && WSTOPSIG(status) == SIGTRAP && (status >> 16) == 0;
    }

    // Counts the stop.
    bool is_last_stop(pid_t thread, int status) {
        if (is_mark(thread, status)) {
            traced_.has_reached_end = ++marks_ == marks_in_all;
            return traced_.has_reached_end;
        }
        return is_inside() && is_step(thread, status) && ++traced_.steps == last_step_;
    }

    // A thread may have been killed, or have ended, since it stopped: that is seen in the next
    // wait.
    void resume(pid_t thread, int status) const {
        const bool is_event = (status >> 16) != 0;
        const int signal = WSTOPSIG(status);
        const bool is_ours = is_event || is_mark(thread, status) || is_step(thread, status) ||
                             signal == system_call_stop || signal == SIGTRAP;
        const long delivered = is_ours ? 0 : signal;
        const bool steps = step_ == Step::instruction;
        if (steps && is_inside() && thread == victim_) {
            ptrace(PTRACE_SINGLESTEP, thread, nullptr, delivered);
        } else if (steps) {
            ptrace(PTRACE_CONT, thread, nullptr, delivered);
        } else {
            ptrace(PTRACE_SYSCALL, thread, nullptr, delivered);
        }
    }

    // The process itself is told as ended when all its threads have been.
    void reap() const {
        pid_t thread = 0;
        do {
            int status = 0;
            thread = waitpid(-victim_, &status, __WALL);
            if (thread == victim_ && WIFSTOPPED(status)) {
                thread = 0;
            }
        } while (thread != victim_ && (thread >= 0 || errno == EINTR));
    }

    const pid_t victim_;
    const Step step_;
    const unsigned last_step_;
    int marks_ = 0;
    Traced traced_;
};

}  // namespace

Traced trace_and_kill(pid_t victim, Step step, unsigned last_step,
                      const std::function<void()>& before_kill) {
    return Trace(victim, step, last_step).run(before_kill);
}

void kill_untraced(pid_t victim, const std::function<void()>& before_kill) {
    before_kill();
    kill(victim, SIGKILL);
    int status = 0;
    waitpid(victim, &status, 0);
    throw_failure_of_others();
    if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL) {
        throw Failed("the victim had ended before the kill, wait status " + std::to_string(status));
    }
}

}  // namespace mox::kills
