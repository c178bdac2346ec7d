// Reads the task's own status line, /proc/<pid>/task/<pid>/stat: emulators that invent
// /proc/<pid>/stat pass this one through, so that every process reads the same figures about
// another.
#include "process_identity.hpp"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace mox::osal {

namespace {

struct TaskStatus {
    char state;       // one letter, 'Z' and 'X' for the dead
    long threads;     // threads that still run
    guint64 started;  // clock ticks since boot
};

// Fields of the status line, counted from the state, which follows the name in parentheses.
constexpr int threads_field = 17;
constexpr int started_field = 19;

bool parse_status(const char* line, TaskStatus* status) {
    // The name may itself hold parentheses and blanks: the last one ends it.
    const char* at = std::strrchr(line, ')');
    if (at == nullptr || at[1] != ' ') return false;
    at += 2;
    status->state = *at;
    for (int field = 0; field < started_field; ++field) {
        if (field == threads_field) status->threads = std::strtol(at, nullptr, 10);
        at = std::strchr(at, ' ');
        if (at == nullptr) return false;
        ++at;
    }
    status->started = std::strtoull(at, nullptr, 10);
    return true;
}

bool read_status(pid_t pid, TaskStatus* status) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/task/%d/stat", pid, pid);
    const std::unique_ptr<FILE, int (*)(FILE*)> file{std::fopen(path, "re"), std::fclose};
    char line[512] = "";
    return file && std::fgets(line, sizeof line, file.get()) != nullptr &&
           parse_status(line, status);
}

}  // namespace

guint64 process_start_time(pid_t pid) {
    TaskStatus status = {};
    return read_status(pid, &status) ? status.started : 0;
}

bool process_is_alive(pid_t pid, guint64 start) {
    if (pid <= 0 || (kill(pid, 0) != 0 && errno == ESRCH)) return false;
    TaskStatus status = {};
    if (!read_status(pid, &status)) return true;
    if (start != 0 && status.started != start) return false;
    // The first thread may have ended before the others: then the state says dead and the count
    // says otherwise.
    return (status.state != 'Z' && status.state != 'X') || status.threads > 1;
}

}  // namespace mox::osal
