// moxctl watch beside an owner and a module that writes: what it prints comes through a pipe that
// the test reads as fast or as slowly as it wants.
//
// What holds: no wait is endless, and no process outlives its test.
#ifndef MOX_TEST_PROCESS_WATCH_STAGE_HPP
#define MOX_TEST_PROCESS_WATCH_STAGE_HPP

#include <lom.h>
#include <moxhost/operator.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdio>
#include <optional>
#include <string_view>

#include "host_module.hpp"
#include "host_owner.hpp"

namespace mox::test {

inline constexpr int text_bytes = 320;  // of each value that is written

// A class with one text, in the hands of the module "writer".
inline std::string meter_profile() {
    return R"({"refresh_ms": 3600000,
 "classes": [{"name": "Meter", "module": "writer", "properties": [{"name": "Text", "type": "s"}]}],
 "objects": [{"name": "Meter1", "class": "Meter", "properties": {"Text": ")" +
           std::string(text_bytes, '-') + "\"}}]}";
}

// What value number n is: its number in 8 digits, then filling.
inline std::string numbered_text(int number) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08d", number);
    return digits + std::string(text_bytes - 8, 'x');
}

// moxctl watch, with the reading end of its output.
class WatchProcess {
public:
    WatchProcess(const HostOwner& owner, std::vector<std::string> options)
        : errors_(owner.dir().path("watch-errors")) {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        output_ = ends[0];
        std::vector<std::string> command{MOXCTL_PATH, "--run-dir", owner.run_dir(), "watch"};
        command.insert(command.end(), options.begin(), options.end());
        std::vector<char*> arguments;
        for (std::string& argument : command) arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            dup2(ends[1], STDOUT_FILENO);
            dup2(open(errors_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            // Memory that was freed is to be used again, or it would look like growth.
            const char* const before = getenv("ASAN_OPTIONS");
            setenv("ASAN_OPTIONS",
                   ((before == nullptr ? std::string() : std::string(before) + ":") +
                    "quarantine_size_mb=0:thread_local_quarantine_size_kb=0")
                       .c_str(),
                   1);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
        close(ends[1]);
    }
    ~WatchProcess() {
        close_output();
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    WatchProcess(const WatchProcess&) = delete;
    WatchProcess& operator=(const WatchProcess&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const { kill(pid_, number); }
    std::string errors() const { return content_of(errors_); }

    void close_output() {
        if (output_ >= 0) close(output_);
        output_ = -1;
    }

    // The next line without its end; nothing when none comes in so many milliseconds, or at the
    // end.
    std::optional<std::string> line(int patience_ms = 20000) {
        for (;;) {
            const std::size_t end = text_.find('\n', begin_);
            if (end != std::string::npos) {
                std::string result = text_.substr(begin_, end - begin_);
                begin_ = end + 1;
                return result;
            }
            text_.erase(0, begin_);
            begin_ = 0;
            pollfd wanted = {output_, POLLIN, 0};
            if (poll(&wanted, 1, patience_ms) != 1) return std::nullopt;
            char buffer[65536];
            const ssize_t got = read(output_, buffer, sizeof buffer);
            if (got <= 0) return std::nullopt;
            text_.append(buffer, static_cast<std::size_t>(got));
        }
    }

    // Waits for the end: the exit status; minus the signal; -1000 when it does not end in time.
    int wait() {
        int status = 0;
        if (!eventually([&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) return -1000;
        pid_ = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    // Kilobytes of a line of its status: "VmRSS" now, "VmHWM" at most so far.
    long memory_kb(const std::string& name) const {
        std::ifstream status("/proc/" + std::to_string(pid_) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.compare(0, name.size() + 1, name + ":") == 0) {
                return std::stol(line.substr(name.size() + 1));
            }
        }
        return -1;
    }

private:
    std::filesystem::path errors_;
    pid_t pid_ = 0;
    int output_ = -1;
    std::string text_;
    std::size_t begin_ = 0;
};

// The module "writer" in a process of its own, which writes numbered values as it is told.
class WriterProcess {
public:
    explicit WriterProcess(const HostOwner& owner) {
        int ends[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
            throw std::runtime_error("no pair of sockets");
        }
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(ends[0]);
            // Each event that finds the queue full is a line of its log.
            dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
            const ModulePtr module = join(owner, "writer");
            _exit(module != nullptr && serve(module.get(), ends[1]) ? 0 : 1);
        }
        close(ends[1]);
        commands_ = ends[0];
    }
    ~WriterProcess() {
        close(commands_);
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
    WriterProcess(const WriterProcess&) = delete;
    WriterProcess& operator=(const WriterProcess&) = delete;

    // Begins to write so many values, at about 10,000 a second.
    void begin(int count) {
        ASSERT_EQ(send(commands_, &count, sizeof count, 0), ssize_t{sizeof count});
    }
    // Waits until they are written and every other module has taken its messages. Returns how many
    // were written in all; -1 when that does not come about.
    int finish() {
        int written = -1;
        pollfd wanted = {commands_, POLLIN, 0};
        if (poll(&wanted, 1, 60000) != 1) return -1;
        return recv(commands_, &written, sizeof written, 0) == ssize_t{sizeof written} ? written
                                                                                       : -1;
    }

private:
    static bool queues_are_empty(MoxHostModule* module) {
        gsize count = 0;
        MoxHostModuleInfo* const infos = moxhost_module_infos(module, &count, nullptr);
        bool are_empty = infos != nullptr;
        for (gsize at = 0; at < count; ++at) {
            are_empty = are_empty && infos[at].queued == 0;
        }
        g_free(infos);
        return are_empty;
    }

    static bool write_value(OBJ_HANDLE meter, int number) {
        GVariant* const value =
            g_variant_ref_sink(g_variant_new_string(numbered_text(number).c_str()));
        const gint32 result =
            lom_set_property_value(meter, "Text", value, PER_MODE_NOSUPPORT, FALSE);
        g_variant_unref(value);
        return result == MOX_OK;
    }

    static bool serve(MoxHostModule* module, int commands) {
        constexpr int step = 100;
        const OBJ_HANDLE meter = lom_get_object_handle("Meter1");
        int written = 0;
        int count = 0;
        while (recv(commands, &count, sizeof count, 0) == ssize_t{sizeof count}) {
            auto next = std::chrono::steady_clock::now();
            for (int at = 0; at < count; ++at) {
                if (!write_value(meter, ++written)) return false;
                if (at % step == step - 1) {
                    next += std::chrono::milliseconds(10);
                    std::this_thread::sleep_until(next);
                }
            }
            if (!eventually([module] { return queues_are_empty(module); })) return false;
            if (send(commands, &written, sizeof written, 0) < 0) return false;
        }
        return true;
    }

    pid_t pid_ = 0;
    int commands_ = -1;
};

}  // namespace mox::test

#endif
