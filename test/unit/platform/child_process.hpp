// A forked process that plays the other side of a test and tells its parent how far it is.
#ifndef MOX_TEST_CHILD_PROCESS_HPP
#define MOX_TEST_CHILD_PROCESS_HPP

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace mox::test {

// The child's end: bytes to the parent, bytes from it, and a wait that only a signal ends.
class Parent {
public:
    Parent(int from, int to) : from_{from}, to_{to} {}

    template <typename Value>
    void tell(const Value& value) const {
        if (write(to_, &value, sizeof value) != static_cast<ssize_t>(sizeof value)) _exit(90);
    }

    // Waits for the parent's next() call; ends the child when the parent is gone.
    void wait_for_word() const {
        char word = 0;
        if (read(from_, &word, 1) != 1) _exit(91);
    }

private:
    int from_;
    int to_;
};

// Runs `role(parent)` in a forked process, whose exit status is the role's int result. The process
// is killed and reaped at the latest when the object goes. Fork before the test starts a thread.
class ChildProcess {
public:
    template <typename Role>
    explicit ChildProcess(Role&& role) {
        int to_child[2] = {-1, -1};
        int to_parent[2] = {-1, -1};
        if (pipe(to_child) != 0 || pipe(to_parent) != 0) std::abort();
        pid_ = fork();
        if (pid_ < 0) std::abort();
        if (pid_ == 0) {
            close(to_child[1]);
            close(to_parent[0]);
            _exit(role(Parent{to_child[0], to_parent[1]}));
        }
        close(to_child[0]);
        close(to_parent[1]);
        to_child_ = to_child[1];
        from_child_ = to_parent[0];
    }

    ~ChildProcess() {
        if (pid_ > 0) {
            kill();
            status();
        }
        close(to_child_);
        close(from_child_);
    }

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // The next value that the child tells; zeros when it ended without.
    template <typename Value>
    Value hear() const {
        Value value = {};
        if (read(from_child_, &value, sizeof value) != static_cast<ssize_t>(sizeof value)) {
            value = {};
        }
        return value;
    }

    void give_word() const {
        const char word = 1;
        // A child that is gone makes this fail, which its status shows.
        if (write(to_child_, &word, 1) != 1) return;
    }

    void kill() const { ::kill(pid_, SIGKILL); }

    // Waits for the end; the exit status, or minus the signal.
    int status() {
        int status = 0;
        const pid_t reaped = waitpid(std::exchange(pid_, -1), &status, 0);
        if (reaped < 0) return -1000;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
    int to_child_ = -1;
    int from_child_ = -1;
};

}  // namespace mox::test

#endif
