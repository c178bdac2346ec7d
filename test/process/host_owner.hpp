// A real owner process for a test: its profile, run directory, saved values and chip file lie in a
// directory that goes with the test, its pool and queues in the test's own System V namespace.
//
// What holds: no wait is endless, and no owner outlives its test.
#ifndef MOX_TEST_PROCESS_HOST_OWNER_HPP
#define MOX_TEST_PROCESS_HOST_OWNER_HPP

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace mox::test {

// Asks every 5 milliseconds, for 20 seconds at most. True as soon as the answer is true.
inline bool eventually(const std::function<bool()>& is_true) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!is_true()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

inline std::string content_of(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// A directory of this user's alone, removed with everything in it.
class TempDir {
public:
    TempDir() {
        char name[] = "/tmp/mox-test-XXXXXX";
        if (mkdtemp(name) == nullptr) {
            throw std::runtime_error("no temporary directory");
        }
        path_ = name;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::filesystem::path path(const std::string& name) const { return path_ / name; }

    // Writes a whole file in one step, so that no reader meets half of it.
    std::filesystem::path write(const std::string& name, const std::string& text) const {
        const std::filesystem::path part = path_ / (name + ".part");
        std::ofstream(part) << text;
        std::filesystem::rename(part, path_ / name);
        return path_ / name;
    }

private:
    std::filesystem::path path_;
};

// Starts a child with its output in two files; the child is killed with this object, or with the
// test.
class ChildProcess {
public:
    ChildProcess(const std::vector<std::string>& command, std::filesystem::path output,
                 std::filesystem::path errors)
        : output_(std::move(output)), errors_(std::move(errors)) {
        // A file from an earlier child would be taken for this one's.
        std::ofstream{output_};
        std::ofstream{errors_};
        std::vector<char*> arguments;
        for (const std::string& argument : command) {
            arguments.push_back(const_cast<char*>(argument.c_str()));
        }
        arguments.push_back(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            redirect(output_, STDOUT_FILENO);
            redirect(errors_, STDERR_FILENO);
            execv(arguments[0], arguments.data());
            _exit(127);
        }
    }
    ~ChildProcess() { end(SIGKILL); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    std::string output() const { return content_of(output_); }
    std::string errors() const { return content_of(errors_); }

    void signal(int number) const { kill(pid_, number); }

    // Waits for the end: the exit status, or minus the signal that ended it; -1000 when it does not
    // end in time.
    int wait() {
        if (pid_ <= 0) {
            return status_;
        }
        const bool has_ended = eventually([this] {
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) != pid_) {
                return false;
            }
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
            return true;
        });
        if (!has_ended) {
            return -1000;
        }
        pid_ = 0;
        return status_;
    }

    int end(int number) {
        if (pid_ > 0) {
            signal(number);
        }
        return wait();
    }

private:
    static void redirect(const std::filesystem::path& path, int descriptor) {
        const int file = open(path.c_str(), O_WRONLY | O_APPEND);
        dup2(file, descriptor);
    }

    std::filesystem::path output_;
    std::filesystem::path errors_;
    pid_t pid_ = -1;
    int status_ = -1000;
};

// A profile with a sensor whose level comes from the file chip, refreshed only when it is asked
// for.
inline std::string sensor_profile(const std::filesystem::path& chip) {
    return R"({
  "refresh_ms": 3600000,
  "classes": [
    {"name": "Chip", "properties": [{"name": "Path", "type": "s"}]},
    {"name": "Accessor", "properties": [{"name": "Chip", "type": "s"}, {"name": "Kind", "type": "s"},
                                        {"name": "Type", "type": "s"}]},
    {"name": "Sensor", "properties": [{"name": "Label", "type": "s"}, {"name": "Level", "type": "i"}]},
    {"name": "Thermometer", "parent": "Sensor", "module": "heater",
     "properties": [{"name": "Limits", "type": "ai"}, {"name": "Twin", "type": "sp"}, {"name": "Heat", "type": "i"}]}
  ],
  "objects": [
    {"name": "chip", "class": "Chip", "type": "Physical", "properties": {"Path": ")" +
           chip.string() + R"("}},
    {"name": "level", "class": "Accessor", "type": "Physical",
     "properties": {"Chip": "chip", "Kind": "attribute", "Type": "i"}},
    {"name": "Tank", "class": "Sensor", "properties": {"Label": "main tank", "Level": {"accessor": "level"}}},
    {"name": "Oven", "class": "Thermometer", "mutex": "Tank",
     "properties": {"Label": "oven", "Limits": [-5, 300], "Twin": "Tank.Level", "Heat": {"accessor": "level"}}}
  ]
})";
}

// moxd with a profile of its own.
class HostOwner {
public:
    HostOwner() { set_level(5); }

    const TempDir& dir() const { return dir_; }
    std::string run_dir() const { return dir_.path("run").string(); }
    std::string state_dir() const { return dir_.path("state").string(); }
    void set_level(int level) const { dir_.write("chip", std::to_string(level) + "\n"); }
    std::string profile_path() const { return dir_.path("profile.json").string(); }

    // The command that starts it with a profile text.
    std::vector<std::string> command(const std::string& profile) const {
        dir_.write("profile.json", profile);
        return {MOXD_PATH,   "--profile", profile_path(), "--state-dir",
                state_dir(), "--run-dir", run_dir()};
    }

    // Starts it with the sensor profile; true when it is ready for modules.
    bool start() { return start(sensor_profile(dir_.path("chip"))); }
    bool start(const std::string& profile) { return start_command(command(profile)); }
    bool start_command(const std::vector<std::string>& command) {
        run(command);
        return eventually([this] {
                   return process_->output().find("ready: ") != std::string::npos || has_ended();
               }) &&
               !has_ended();
    }

    // Starts it with any command; its output lies in files named after the count of starts.
    ChildProcess& run(const std::vector<std::string>& command) {
        const std::string number = std::to_string(++starts_);
        process_ = std::make_unique<ChildProcess>(command, dir_.path("out" + number),
                                                  dir_.path("err" + number));
        return *process_;
    }

    ChildProcess& process() { return *process_; }

    int stop() { return process_->end(SIGTERM); }

private:
    bool has_ended() const {
        siginfo_t info = {};
        return waitid(P_PID, static_cast<id_t>(process_->pid()), &info,
                      WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid != 0;
    }

    TempDir dir_;
    int starts_ = 0;
    std::unique_ptr<ChildProcess> process_;
};

// How many System V objects there are in the test's namespace.
inline int system_v_objects() {
    int count = 0;
    for (const char* const kind : {"shm", "msg", "sem"}) {
        std::ifstream list(std::string("/proc/sysvipc/") + kind);
        std::string line;
        std::getline(list, line);
        while (std::getline(list, line)) {
            ++count;
        }
    }
    return count;
}

}  // namespace mox::test

#endif
