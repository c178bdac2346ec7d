// Each function asks the plan, then makes the real call.
#include "failing_system.hpp"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace mox::test {
namespace {

struct SystemPlan {
    std::string directory;
    unsigned n = 0;
    bool from_then_on = false;
    int error = 0;
    unsigned calls = 0;
    std::set<std::string> only_in_memory;
};

SystemPlan& plan() {
    static auto* const the_plan = new SystemPlan;
    return *the_plan;
}

// Null before the program's own start, when nothing is watched.
SystemPlan* the_watch = nullptr;

template <typename Function>
Function* next_of(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool is_watched(const std::string& path) {
    const std::string& directory = the_watch->directory;
    return path.compare(0, directory.size(), directory) == 0;
}

std::string path_of_descriptor(int descriptor) {
    char path[512];
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t length = readlink(link.c_str(), path, sizeof path);
    return length <= 0 ? "" : std::string(path, static_cast<std::size_t>(length));
}

std::string parent_of(const std::string& path) {
    return path.substr(0, path.find_last_of('/'));
}

// Counts a call; true when it shall fail, errno being set.
bool fails(const std::string& path) {
    if (the_watch == nullptr || !is_watched(path)) return false;
    SystemPlan& now = *the_watch;
    ++now.calls;
    const bool fails_now =
        now.n != 0 && (now.calls == now.n || (now.from_then_on && now.calls > now.n));
    if (fails_now) errno = now.error;
    return fails_now;
}

void note_made(int result, const std::string& path) {
    if (result >= 0 && the_watch != nullptr && is_watched(path)) {
        the_watch->only_in_memory.insert(path);
    }
}

void note_gone(int result, const std::string& path) {
    if (result >= 0 && the_watch != nullptr) the_watch->only_in_memory.erase(path);
}

void note_synchronised(int result, const std::string& path) {
    if (result < 0 || the_watch == nullptr) return;
    std::erase_if(the_watch->only_in_memory,
                  [&path](const std::string& name) { return parent_of(name) == path; });
}

int open_by(const char* function, const char* path, int flags, mode_t mode) {
    if (fails(path)) return -1;
    const int result = next_of<int(const char*, int, ...)>(function)(path, flags, mode);
    if ((flags & O_CREAT) != 0 && (flags & O_EXCL) != 0) note_made(result, path);
    return result;
}

template <typename Status>
int look_by(const char* function, const char* path, Status* status) {
    return fails(path) ? -1 : next_of<int(const char*, Status*)>(function)(path, status);
}

mode_t mode_of(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, unsigned)) : 0;
}

}  // namespace

void watch_system_calls(const std::string& directory) {
    plan() = {};
    plan().directory = directory;
    the_watch = directory.empty() ? nullptr : &plan();
}

void fail_system_call(unsigned n, bool from_then_on, int error) {
    SystemPlan& now = plan();
    now.n = n;
    now.from_then_on = from_then_on;
    now.error = error;
    now.calls = 0;
}

unsigned system_calls() {
    return plan().calls;
}

std::set<std::string> names_only_in_memory() {
    return plan().only_in_memory;
}

// Libraries find these only when the program shows them.
#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_of(flags, arguments);
    va_end(arguments);
    return open_by("open", path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_of(flags, arguments);
    va_end(arguments);
    return open_by("open64", path, flags, mode);
}

int stat(const char* path, struct stat* status) noexcept {
    return look_by("stat", path, status);
}

int stat64(const char* path, struct stat64* status) noexcept {
    return look_by("stat64", path, status);
}

int lstat(const char* path, struct stat* status) noexcept {
    return look_by("lstat", path, status);
}

int lstat64(const char* path, struct stat64* status) noexcept {
    return look_by("lstat64", path, status);
}

int access(const char* path, int mode) noexcept {
    return fails(path) ? -1 : next_of<int(const char*, int)>("access")(path, mode);
}

int mkdir(const char* path, mode_t mode) noexcept {
    if (fails(path)) return -1;
    const int result = next_of<int(const char*, mode_t)>("mkdir")(path, mode);
    note_made(result, path);
    return result;
}

int rename(const char* from, const char* to) noexcept {
    if (fails(from)) return -1;
    const int result = next_of<int(const char*, const char*)>("rename")(from, to);
    note_gone(result, from);
    note_made(result, to);
    return result;
}

int rmdir(const char* path) noexcept {
    if (fails(path)) return -1;
    const int result = next_of<int(const char*)>("rmdir")(path);
    note_gone(result, path);
    return result;
}

int unlink(const char* path) noexcept {
    if (fails(path)) return -1;
    const int result = next_of<int(const char*)>("unlink")(path);
    note_gone(result, path);
    return result;
}

int fsync(int descriptor) {
    if (the_watch == nullptr) return next_of<int(int)>("fsync")(descriptor);
    const std::string path = path_of_descriptor(descriptor);
    if (fails(path)) return -1;
    const int result = next_of<int(int)>("fsync")(descriptor);
    note_synchronised(result, path);
    return result;
}

int close(int descriptor) {
    const bool fails_now = the_watch != nullptr && fails(path_of_descriptor(descriptor));
    const int error = errno;
    const int result = next_of<int(int)>("close")(descriptor);
    if (!fails_now) return result;
    errno = error;
    return -1;
}

}  // extern "C"
#pragma GCC visibility pop

}  // namespace mox::test
