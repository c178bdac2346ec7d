#include "processes.hpp"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

namespace mox::kill_owner {
namespace {

constexpr long trace_options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL;
constexpr int system_call_stop = SIGTRAP | 0x80;
constexpr std::uint32_t end_limit_ms = 20000;
constexpr std::uint32_t step_limit_ms = 20000;
constexpr int asked_in_a_row = 50;

void redirect(const std::string& path, int descriptor) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(file, descriptor);
    close(file);
}

bool resume(pid_t pid, int signal) {
    return ptrace(PTRACE_SYSCALL, pid, nullptr, static_cast<long>(signal)) == 0;
}

}  // namespace

bool within_ms(std::uint32_t milliseconds, const std::function<bool()>& is_true) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!is_true()) {
        if (std::chrono::steady_clock::now() > end) {
            return is_true();
        }
        usleep(200);
    }
    return true;
}

Process::Process(const std::vector<std::string>& command, const std::string& output,
                 const std::string& errors, Trace trace) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        redirect(output, STDOUT_FILENO);
        redirect(errors, STDERR_FILENO);
        if (trace == Trace::yes) {
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        }
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    if (pid_ < 0) {
        throw Failed(std::string("no process: ") + std::strerror(errno));
    }
    if (trace == Trace::yes) {
        int status = 0;
        if (waitpid(pid_, &status, __WALL) != pid_ || !WIFSTOPPED(status) ||
            ptrace(PTRACE_SETOPTIONS, pid_, nullptr, trace_options) != 0) {
            throw Failed(command[0] + " cannot be traced from its start");
        }
        is_traced_ = true;
    }
}

Process::~Process() {
    kill_now();
}

void Process::signal(int number) const {
    if (!has_ended_) {
        kill(pid_, number);
    }
}

bool Process::note(int status) {
    if (WIFEXITED(status) || WIFSIGNALED(status)) {
        has_ended_ = true;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    return has_ended_;
}

bool Process::has_ended() {
    int status = 0;
    if (!has_ended_ && waitpid(pid_, &status, WNOHANG | __WALL) == pid_) {
        note(status);
    }
    return has_ended_;
}

int Process::wait() {
    return within_ms(end_limit_ms, [this] { return has_ended(); }) ? status_ : -1000;
}

void Process::kill_now() {
    signal(SIGKILL);
    wait();
}

void Process::trace() {
    if (ptrace(PTRACE_SEIZE, pid_, nullptr, trace_options) != 0 ||
        ptrace(PTRACE_INTERRUPT, pid_, nullptr, nullptr) != 0) {
        throw Failed(std::string("the owner cannot be traced: ") + std::strerror(errno));
    }
    int status = 0;
    if (waitpid(pid_, &status, __WALL) != pid_ || note(status)) {
        throw Failed("the owner ended when it was to be traced");
    }
    is_traced_ = true;
}

// The signal that a stopped process is to get: one that was sent to it, none for a stop that the
// tracing made.
int Process::deliver(int status) const {
    const int number = WSTOPSIG(status);
    const bool is_event = (status >> 16) != 0;
    return is_event || number == SIGTRAP || number == system_call_stop ? 0 : number;
}

unsigned Process::run_steps(unsigned last_step, const std::function<bool()>& is_over) {
    unsigned steps = 0;
    if (!resume(pid_, 0)) {
        throw Failed(std::string("the owner does not run on: ") + std::strerror(errno));
    }
    // The next stop is mostly near: it is asked for often before this process sleeps.
    const auto has_come_to_it = [&] {
        int status = 0;
        for (int asked = 0; asked < asked_in_a_row; ++asked) {
            if (waitpid(pid_, &status, WNOHANG | __WALL) != pid_) {
                sched_yield();
                continue;
            }
            asked = 0;
            const bool is_step = !note(status) && WSTOPSIG(status) == system_call_stop;
            if (has_ended_ || (is_step && ++steps == last_step)) {
                is_stopped_ = !has_ended_;
                return true;
            }
            resume(pid_, deliver(status));
        }
        return is_over();
    };
    const bool has_come = within_ms(step_limit_ms, has_come_to_it);
    if (!has_come) {
        throw Failed("the owner did not come to step " + std::to_string(last_step) +
                     " within 20 seconds, after " + std::to_string(steps));
    }
    return steps;
}

void Process::untrace() {
    if (!is_traced_ || has_ended_) {
        return;
    }
    // It has to stand still for that.
    int status = 0;
    if (is_stopped_) {
        ptrace(PTRACE_DETACH, pid_, nullptr, nullptr);
    } else if (ptrace(PTRACE_INTERRUPT, pid_, nullptr, nullptr) == 0 &&
               waitpid(pid_, &status, __WALL) == pid_ && !note(status)) {
        ptrace(PTRACE_DETACH, pid_, nullptr, static_cast<long>(deliver(status)));
    }
    is_traced_ = false;
    is_stopped_ = false;
}

}  // namespace mox::kill_owner
