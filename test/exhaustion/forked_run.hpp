// A body that runs in a child process of its own, because one fault may leave anything behind: what
// the child printed, and whether it ended as it should.
//
//   SharedCount calls;                                     written by children, read here
//   const ForkedRun run = run_forked([&] { ... EXPECT_EQ(...); calls.set(7); });
//   EXPECT_TRUE(run.is_good) << run.text;
//
// A run is good when no assertion failed, no sanitizer complained, nothing on the heap was left
// without a pointer to it (where that is looked for), and it ended by itself within 60 s. The
// process that forks has one thread.
#ifndef MOX_TEST_EXHAUSTION_FORKED_RUN_HPP
#define MOX_TEST_EXHAUSTION_FORKED_RUN_HPP

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace mox::test {

struct ForkedRun {
    bool is_good = false;
    std::string text;  // what it printed, and how it ended
};

// A number that survives the child that set it.
class SharedCount {
public:
    SharedCount()
        : place_(static_cast<unsigned*>(mmap(nullptr, sizeof(unsigned), PROT_READ | PROT_WRITE,
                                             MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
    ~SharedCount() { munmap(place_, sizeof(unsigned)); }
    SharedCount(const SharedCount&) = delete;
    SharedCount& operator=(const SharedCount&) = delete;

    void set(unsigned value) { *place_ = value; }
    unsigned get() const { return *place_; }

private:
    unsigned* place_;
};

// True when the heap holds a block that nothing points to; it is printed then.
inline bool heap_has_leaks() {
#if defined(__SANITIZE_ADDRESS__)
    return __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

inline std::string how_it_ended(int status) {
    if (WIFSIGNALED(status)) {
        const int number = WTERMSIG(status);
        return number == SIGALRM ? "it hung" : "signal " + std::to_string(number);
    }
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

inline std::string text_of_file(int file) {
    std::string text;
    char part[4096];
    off_t at = 0;
    for (ssize_t got; (got = pread(file, part, sizeof part, at)) > 0; at += got) {
        text.append(part, static_cast<std::size_t>(got));
    }
    return text;
}

// Failures of this test that were reported so far; a child begins with those of its parent.
inline int reported_failures() {
    return ::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

template <typename Body>
ForkedRun run_forked(Body&& body) {
    const int printed = memfd_create("printed", MFD_CLOEXEC);
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        dup2(printed, STDOUT_FILENO);
        dup2(printed, STDERR_FILENO);
        alarm(60);
        const int failures_before = reported_failures();
        body();
        std::fflush(stdout);
        _exit(reported_failures() != failures_before || heap_has_leaks() ? 1 : 0);
    }
    int status = 0;
    const bool is_reaped = child > 0 && waitpid(child, &status, 0) == child;
    ForkedRun run;
    run.is_good = is_reaped && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (!run.is_good) run.text = text_of_file(printed) + "\n" + how_it_ended(status);
    close(printed);
    return run;
}

}  // namespace mox::test

#endif
