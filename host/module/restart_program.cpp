// An execution keeps the process and with it what the program had changed: the mask of the thread
// that executes, ignored signals, the working directory. So these are noted when the library is
// loaded, before the program's main, and given back. Signals that are caught fall back by
// themselves.
#include "module/restart_program.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string_view>
#include <system_error>

namespace mox::host {
namespace {

// Carries Restarts over an execution, as "count:short_lives".
constexpr const char* restarts_variable = "MOX_RESTARTS";

std::string error_text(int error) {
    return std::generic_category().message(error);
}

// Anything that is no such text counts as no restart.
Restarts take_restarts() {
    const gchar* const text = g_getenv(restarts_variable);
    Restarts result;
    if (text != nullptr) {
        const std::string_view all = text;
        const std::size_t colon = std::min(all.find(':'), all.size());
        const std::string_view rest = all.substr(std::min(colon + 1, all.size()));
        Restarts parsed;
        const auto first = std::from_chars(all.data(), all.data() + colon, parsed.count);
        const auto second =
            std::from_chars(rest.data(), rest.data() + rest.size(), parsed.short_lives);
        if (first.ec == std::errc() && second.ec == std::errc()) {
            result = parsed;
        }
        g_unsetenv(restarts_variable);
    }
    return result;
}

bool is_ignored(int number) {
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// The process at the load of this library.
struct Start {
    Start() : restarts(take_restarts()) {
        pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        sigemptyset(&ignored);
        for (int number = 1; number < NSIG; ++number) {
            if (is_ignored(number)) {
                sigaddset(&ignored, number);
            }
        }
        std::array<char, PATH_MAX> directory = {};
        if (getcwd(directory.data(), directory.size()) != nullptr) {
            working_directory = directory.data();
        }
    }

    const Restarts restarts;
    sigset_t mask = {};
    sigset_t ignored = {};
    std::string working_directory;  // empty when it could not be told
};
const Start start;

void take_no_notice(int) {}

// The signals of the start while it lives, the former ones afterwards. What was not ignored then is
// caught, not set to its default: an execution makes that of it, and until then other threads do
// not die of what they were told to ignore.
class SignalsOfStart {
public:
    SignalsOfStart() {
        for (int number = 1; number < NSIG; ++number) {
            struct sigaction& former = former_.at(static_cast<std::size_t>(number));
            const bool was_ignored = sigismember(&start.ignored, number) == 1;
            if (sigaction(number, nullptr, &former) == 0 &&
                (former.sa_handler == SIG_IGN) != was_ignored) {
                struct sigaction action = {};
                action.sa_handler = was_ignored ? SIG_IGN : take_no_notice;
                action.sa_flags = SA_RESTART;
                sigaction(number, &action, nullptr);
                sigaddset(&changed_, number);
            }
        }
        pthread_sigmask(SIG_SETMASK, &start.mask, &former_mask_);
    }
    ~SignalsOfStart() {
        pthread_sigmask(SIG_SETMASK, &former_mask_, nullptr);
        for (int number = 1; number < NSIG; ++number) {
            if (sigismember(&changed_, number) == 1) {
                sigaction(number, &former_.at(static_cast<std::size_t>(number)), nullptr);
            }
        }
    }
    SignalsOfStart(const SignalsOfStart&) = delete;
    SignalsOfStart& operator=(const SignalsOfStart&) = delete;

private:
    std::array<struct sigaction, NSIG> former_ = {};
    sigset_t changed_ = {};
    sigset_t former_mask_ = {};
};

// The working directory of the start while it lives, the former one afterwards. One that is gone
// meanwhile cannot be had again: the present one stays then.
class DirectoryOfStart {
public:
    DirectoryOfStart() : former_(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC)) {
        has_changed_ = former_ >= 0 && !start.working_directory.empty() &&
                       chdir(start.working_directory.c_str()) == 0;
    }
    ~DirectoryOfStart() {
        if (has_changed_) {
            // A directory that was left a moment ago can be entered again.
            [[maybe_unused]] const int result = fchdir(former_);
        }
        if (former_ >= 0) {
            close(former_);
        }
    }
    DirectoryOfStart(const DirectoryOfStart&) = delete;
    DirectoryOfStart& operator=(const DirectoryOfStart&) = delete;

private:
    int former_;
    bool has_changed_ = false;
};

// What the program printed would go with its memory. A stream that another thread is at work with
// is left alone: it might wait for ever.
void flush_output() {
    if (ftrylockfile(stdout) == 0) {
        fflush_unlocked(stdout);
        funlockfile(stdout);
    }
}

struct FreeStrings {
    void operator()(gchar** strings) const { g_strfreev(strings); }
};

std::unique_ptr<gchar*, FreeStrings> environment_with(const Restarts& next) {
    const std::string text = std::to_string(next.count) + ':' + std::to_string(next.short_lives);
    return std::unique_ptr<gchar*, FreeStrings>(
        g_environ_setenv(g_get_environ(), restarts_variable, text.c_str(), TRUE));
}

// The path behind the link in /proc, which says so when the file was removed or replaced: the file
// that is at that path now is meant.
std::string path_of_program() {
    gchar* const link = g_file_read_link("/proc/self/exe", nullptr);
    std::string path = link == nullptr ? "" : link;
    g_free(link);
    constexpr std::string_view mark = " (deleted)";
    if (path.size() > mark.size() && path.ends_with(mark) && access(path.c_str(), F_OK) != 0) {
        path.resize(path.size() - mark.size());
    }
    return path;
}

}  // namespace

const Restarts& restarts() {
    return start.restarts;
}

std::string read_program(Program& program) {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    std::string argument;
    program = {path_of_program(), {}};
    while (std::getline(file, argument, '\0')) {
        program.arguments.push_back(argument);
    }
    if (program.path.empty() || program.arguments.empty()) {
        return "this program's path and arguments cannot be read from /proc/self; mount /proc";
    }
    return {};
}

std::string execute_anew(const Program& program, const Restarts& next) {
    std::vector<char*> arguments;
    for (const std::string& argument : program.arguments) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    const auto environment = environment_with(next);
    flush_output();
    const DirectoryOfStart directory;
    const SignalsOfStart signals;
    execve(program.path.c_str(), arguments.data(), environment.get());
    return program.path + " cannot be executed: " + error_text(errno);
}

}  // namespace mox::host
