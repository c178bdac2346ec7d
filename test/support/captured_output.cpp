#include "captured_output.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>

namespace mox::test {
namespace {

// The state that the replacement of syslog below shares with CapturedSyslog.
struct SyslogState {
    std::mutex mutex;
    bool active = false;
    std::vector<SyslogLine> lines;
};

// Never destroyed: a message may still come while the process ends.
SyslogState& syslog_state() {
    static auto* const state = new SyslogState;
    return *state;
}

[[noreturn]] void give_up(const char* what) {
    std::perror(what);
    std::abort();
}

std::string formatted(const char* format, va_list values) {
    va_list again;
    va_copy(again, values);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length < 0) return {};
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, values);
    text.pop_back();
    return text;
}

void record_syslog(int priority, const char* format, va_list values) {
    SyslogState& state = syslog_state();
    const std::lock_guard<std::mutex> lock(state.mutex);
    if (state.active) state.lines.push_back({priority, format, formatted(format, values)});
}

std::string read_all(int file) {
    std::string text;
    char part[4096];
    ssize_t count = 0;
    lseek(file, 0, SEEK_SET);
    while ((count = read(file, part, sizeof part)) > 0) {
        text.append(part, static_cast<std::size_t>(count));
    }
    return text;
}

}  // namespace

CapturedStdout::CapturedStdout() {
    std::fflush(stdout);
    terminal_ = dup(STDOUT_FILENO);
    caught_ = memfd_create("captured-stdout", MFD_CLOEXEC);
    if (terminal_ < 0 || caught_ < 0 || dup2(caught_, STDOUT_FILENO) < 0) {
        give_up("capturing standard output");
    }
}

CapturedStdout::~CapturedStdout() {
    const std::string rest = take();
    std::fwrite(rest.data(), 1, rest.size(), stdout);
}

std::string CapturedStdout::take() {
    if (caught_ < 0) return {};
    std::fflush(stdout);
    if (dup2(terminal_, STDOUT_FILENO) < 0) give_up("giving standard output back");
    std::string text = read_all(caught_);
    close(terminal_);
    close(caught_);
    caught_ = -1;
    return text;
}

CapturedSyslog::CapturedSyslog() {
    SyslogState& state = syslog_state();
    const std::lock_guard<std::mutex> lock(state.mutex);
    if (state.active) {
        std::fputs("CapturedSyslog: a capture is running already\n", stderr);
        std::abort();
    }
    state.active = true;
    state.lines.clear();
}

CapturedSyslog::~CapturedSyslog() {
    SyslogState& state = syslog_state();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.active = false;
    state.lines.clear();
}

std::vector<SyslogLine> CapturedSyslog::lines() const {
    SyslogState& state = syslog_state();
    const std::lock_guard<std::mutex> lock(state.mutex);
    return state.lines;
}

std::string CapturedSyslog::text() const {
    std::string all;
    for (const SyslogLine& line : lines()) all += line.text;
    return all;
}

bool CapturedSyslog::contains(const std::string& part) const {
    return text().find(part) != std::string::npos;
}

void CapturedSyslog::clear() {
    SyslogState& state = syslog_state();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.lines.clear();
}

const char* DebugLevel::module() {
    static const std::string name = "mox-test-" + std::to_string(getpid());
    return name.c_str();
}

const std::string& DebugLevel::directory() {
    static const std::string path = std::string("/tmp/dbglvl/") + module();
    return path;
}

DebugLevel::DebugLevel(const std::string& entry) {
    set(entry);
}

DebugLevel::~DebugLevel() {
    std::error_code ignored;
    std::filesystem::remove_all(directory(), ignored);
}

void DebugLevel::set(const std::string& entry) {
    clear();
    add(entry);
}

void DebugLevel::add(const std::string& entry) {
    const std::string path = directory() + "/" + entry;
    const int file = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    if (file < 0) give_up(path.c_str());
    close(file);
}

void DebugLevel::clear() {
    std::filesystem::remove_all(directory());
    std::filesystem::create_directories(directory());
}

}  // namespace mox::test

// Take the C library's place in the programs that link this file, and for the shared libraries they
// load. The second one is what code that was compiled with _FORTIFY_SOURCE calls.
extern "C" {

__attribute__((visibility("default"))) void syslog(int priority, const char* format, ...);
__attribute__((visibility("default"))) void __syslog_chk(int priority, int flag, const char* format,
                                                         ...);

void syslog(int priority, const char* format, ...) {
    va_list values;
    va_start(values, format);
    mox::test::record_syslog(priority, format, values);
    va_end(values);
}

void __syslog_chk(int priority, int /*flag*/, const char* format, ...) {
    va_list values;
    va_start(values, format);
    mox::test::record_syslog(priority, format, values);
    va_end(values);
}

}  // extern "C"
