// A role reports by a pipe of its own, written once when its body is done: what it found wrong
// comes whole or, when it was killed, not at all. Its channel is a socket pair, so that a word to a
// role that is gone is an error and not a signal.
#include "roles.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace mox::test {
namespace {

using Clock = std::chrono::steady_clock;

// How long a role may take to report once the test has given it up.
constexpr unsigned kGraceSeconds = 5;

constexpr char kHung[] = "the test did not end in time: it hangs in its own process\n";

void end_hung_test(int) {
    // Only calls that are allowed in a handler. The failure shows in the exit status either way.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kHung, sizeof(kHung) - 1);
    _exit(1);
}

// True when the descriptor has something to read, or its other end is closed.
bool is_readable_until(int descriptor, Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd question{descriptor, POLLIN, 0};
    return poll(&question, 1, left > 0 ? static_cast<int>(left) : 0) > 0;
}

Clock::time_point after_seconds(unsigned seconds) {
    return Clock::now() + std::chrono::seconds{seconds};
}

// What a role found wrong: file, line and message of each failure, each ended by a NUL.
std::string failures_since(const ::testing::TestResult& result, int first) {
    std::string report;
    for (int i = first; i < result.total_part_count(); ++i) {
        const ::testing::TestPartResult& part = result.GetTestPartResult(i);
        if (!part.failed()) continue;
        report += part.file_name() == nullptr ? "unknown file" : part.file_name();
        report += '\0' + std::to_string(part.line_number()) + '\0' + part.message() + '\0';
    }
    return report;
}

void write_all(int descriptor, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t put = write(descriptor, text.data() + done, text.size() - done);
        if (put <= 0) return;  // the test is gone
        done += static_cast<std::size_t>(put);
    }
}

// The life of a role's process.
[[noreturn]] void play(const std::function<void(Channel&)>& body, int words, int report,
                       pid_t test) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != test) _exit(1);
    signal(SIGALRM, SIG_DFL);
    alarm(kRoleSeconds);
    ::testing::UnitTest& unit = *::testing::UnitTest::GetInstance();
    // The test prints this process's failures.
    delete unit.listeners().Release(unit.listeners().default_result_printer());
    const ::testing::TestResult& result = *unit.current_test_info()->result();
    const int first = result.total_part_count();
    {
        Channel channel{words, "the test"};
        try {
            body(channel);
        } catch (const std::exception& problem) {
            ADD_FAILURE() << problem.what();
        }
    }
    const std::string failures = failures_since(result, first);
    write_all(report, failures);
    std::fflush(nullptr);
    _exit(failures.empty() ? 0 : 1);
}

std::string describe_end(int status) {
    if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
    const int number = WTERMSIG(status);
    return "signal " + std::to_string(number) + " (" + strsignal(number) + ")" +
           (number == SIGALRM ? ": it took longer than " + std::to_string(kRoleSeconds) + " s"
                              : "");
}

// Field 3 of /proc/<pid>/stat; 0 when the process is gone.
char state_of(pid_t process) {
    std::ifstream file{"/proc/" + std::to_string(process) + "/stat"};
    std::string line;
    std::getline(file, line);
    const std::size_t end_of_name = line.rfind(')');
    return end_of_name == std::string::npos || end_of_name + 2 >= line.size()
               ? '\0'
               : line[end_of_name + 2];
}

}  // namespace

Channel::Channel(int descriptor, std::string other_side)
    : descriptor_{descriptor}, other_side_{std::move(other_side)} {}

Channel::~Channel() {
    close(descriptor_);
}

void Channel::send_bytes(const void* bytes, std::size_t size) {
    const char* from = static_cast<const char*>(bytes);
    while (size > 0) {
        const ssize_t put = ::send(descriptor_, from, size, MSG_NOSIGNAL);
        if (put <= 0) throw NoWord(other_side_ + " is gone: " + std::strerror(errno));
        from += put;
        size -= static_cast<std::size_t>(put);
    }
}

void Channel::receive_bytes(void* bytes, std::size_t size) {
    const Clock::time_point deadline = after_seconds(kWordSeconds);
    char* to = static_cast<char*>(bytes);
    while (size > 0) {
        if (!is_readable_until(descriptor_, deadline)) {
            throw NoWord("no word from " + other_side_ + " within " + std::to_string(kWordSeconds) +
                         " s");
        }
        const ssize_t got = ::recv(descriptor_, to, size, 0);
        if (got <= 0) throw NoWord(other_side_ + " ended before it gave the word awaited");
        to += got;
        size -= static_cast<std::size_t>(got);
    }
}

Role::Pipes Role::make_pipes() {
    Pipes pipes;
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pipes.words) != 0 ||
        pipe2(pipes.report, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "a role's pipes");
    }
    return pipes;
}

Role::Role(std::string name, const std::function<void(Channel& test)>& body)
    : Role{std::move(name), body, make_pipes()} {}

Role::Role(std::string name, const std::function<void(Channel& test)>& body, const Pipes& pipes)
    : name_{std::move(name)}, channel_{pipes.words[0], name_}, report_{pipes.report[0]} {
    std::fflush(nullptr);  // nothing is printed twice
    const pid_t test = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        close(pipes.words[0]);
        close(pipes.report[0]);
        play(body, pipes.words[1], pipes.report[1], test);
    }
    close(pipes.words[1]);
    close(pipes.report[1]);
    if (pid_ < 0) throw std::system_error(errno, std::generic_category(), "fork");
}

Role::~Role() {
    if (running_) {
        kill_now();
        if (!::testing::Test::HasFailure() && std::uncaught_exceptions() == 0) {
            ADD_FAILURE() << name_ << " was left running by the test";
        }
    }
    close(report_);
}

// Makes what the role found wrong the test's; returns how many failures there were.
int Role::report_failures(unsigned seconds) {
    const Clock::time_point deadline = after_seconds(seconds);
    std::string report;
    std::vector<char> part(4096);
    for (;;) {
        if (!is_readable_until(report_, deadline)) {
            ADD_FAILURE() << name_ << " did not end within " << seconds << " s";
            kill(pid_, SIGKILL);
            break;
        }
        const ssize_t got = read(report_, part.data(), part.size());
        if (got <= 0) break;
        report.append(part.data(), static_cast<std::size_t>(got));
    }
    std::istringstream fields{report};
    std::string file;
    std::string line;
    std::string message;
    int failures = 0;
    while (std::getline(fields, file, '\0') && std::getline(fields, line, '\0') &&
           std::getline(fields, message, '\0')) {
        ADD_FAILURE_AT(file.c_str(), std::stoi(line)) << "in " << name_ << ": " << message;
        ++failures;
    }
    return failures;
}

int Role::wait_for_end() {
    running_ = false;
    int status = 0;
    if (waitpid(pid_, &status, 0) != pid_) ADD_FAILURE() << name_ << " cannot be waited for";
    return status;
}

void Role::end_within(unsigned seconds) {
    if (!running_) return;
    const int failures = report_failures(seconds);
    const int status = wait_for_end();
    if (status != 0 && failures == 0) {
        ADD_FAILURE() << name_ << " ended with " << describe_end(status);
    }
}

void Role::finish() {
    end_within(kRoleSeconds);
}

// Ends a role that did not give its word: it hears no more either.
void Role::abandon() {
    shutdown(channel_.descriptor_, SHUT_RDWR);
    end_within(kGraceSeconds);
}

void Role::kill_now() {
    kill(pid_, SIGKILL);
    report_failures(kGraceSeconds);
    wait_for_end();
}

void Role::expect_killed() {
    const int status = wait_for_end();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        << name_ << " was to be killed, but ended with " << describe_end(status);
}

void wait_until_blocked(pid_t process) {
    const Clock::time_point deadline = after_seconds(kWordSeconds);
    while (state_of(process) != 'S') {
        if (Clock::now() > deadline) {
            throw NoWord("process " + std::to_string(process) + " did not wait for the lock");
        }
        std::this_thread::sleep_for(std::chrono::microseconds{200});
    }
}

ProcessTest::ProcessTest() {
    signal(SIGALRM, end_hung_test);
    alarm(kTestSeconds);
}

ProcessTest::~ProcessTest() {
    alarm(0);
}

}  // namespace mox::test
