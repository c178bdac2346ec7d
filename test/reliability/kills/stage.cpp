// moxd is started by its path in the build; its output and errors go to one file.
#include "stage.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "ipc_namespace.hpp"
#include "model.hpp"
#include "shared_page.hpp"

namespace mox::kills {
namespace {

constexpr std::uint32_t owner_start_ms = 10000;
constexpr std::uint32_t owner_stop_ms = 5000;

std::string content_of(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

void write_output_to(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    close(file);
}

}  // namespace

bool has_ended(pid_t child) {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid != 0;
}

bool within_ms(std::uint32_t milliseconds, const std::function<bool()>& is_true) {
    const std::uint32_t start = now_ms();
    while (!is_true()) {
        if (now_ms() - start > milliseconds) {
            return false;
        }
        usleep(500);
    }
    return true;
}

int entries_of(const std::string& directory) {
    DIR* const entries = opendir(directory.c_str());
    if (entries == nullptr) {
        return -1;
    }
    int count = 0;
    while (readdir(entries) != nullptr) {
        ++count;
    }
    closedir(entries);
    return count;
}

int lines_of(const std::string& list) {
    std::ifstream file(list);
    int count = -1;
    for (std::string line; std::getline(file, line);) {
        ++count;
    }
    return count;
}

Stage::Stage() {
    const std::string cause = mox::test::enter_ipc_namespace();
    if (!cause.empty()) {
        throw Failed("no System V namespace of its own: " + cause);
    }
    char name[] = "/tmp/mox-kills-XXXXXX";
    if (mkdtemp(name) == nullptr) {
        throw Failed("no directory can be made in /tmp");
    }
    directory_ = name;
    std::ofstream(directory_ + "/level") << "5\n";
    std::ofstream(directory_ + "/profile.json") << profile_text(directory_ + "/level");
}

Stage::~Stage() {
    if (owner_ > 0) {
        kill(owner_, SIGKILL);
        waitpid(owner_, nullptr, 0);
    }
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

pid_t Stage::start_process(const std::string& name, unsigned seconds,
                           const std::function<void()>& body) const {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(seconds);
        if (getppid() != parent) {
            _exit(1);
        }
        write_output_to(directory_ + '/' + name + ".log");
        try {
            body();
        } catch (const std::exception& error) {
            fail_here(error.what());
        }
        _exit(0);
    }
    if (child < 0) {
        throw Failed("no process can be made");
    }
    return child;
}

void Stage::start_owner() {
    const std::string log = directory_ + "/moxd.log";
    std::ofstream{log};
    owner_ = start_process("moxd", 0, [&] {
        execl(MOXD_PATH, MOXD_PATH, "--profile", (directory_ + "/profile.json").c_str(),
              "--run-dir", run_dir().c_str(), "--state-dir", (directory_ + "/state").c_str(),
              "--volatile-dir", (directory_ + "/volatile").c_str(), nullptr);
        throw Failed(std::string(MOXD_PATH) + " cannot be executed");
    });
    const bool is_ready = within_ms(owner_start_ms, [&] {
        expect_owner_lives();
        return content_of(log).find("ready: ") != std::string::npos;
    });
    if (!is_ready) {
        throw Failed("moxd is not ready after 10 s: " + log_end("moxd"));
    }
}

void Stage::stop_owner() {
    expect_owner_lives();
    kill(owner_, SIGTERM);
    if (!within_ms(owner_stop_ms, [this] { return has_ended(owner_); })) {
        throw Failed("moxd does not stop within 5 s of SIGTERM: " + log_end("moxd"));
    }
    int status = 0;
    waitpid(owner_, &status, 0);
    owner_ = -1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw Failed("moxd stopped with wait status " + std::to_string(status) + ": " +
                     log_end("moxd"));
    }
    for (const char* const kind : {"shm", "msg", "sem"}) {
        const int left = lines_of(std::string("/proc/sysvipc/") + kind);
        if (left != 0) {
            throw Failed(std::to_string(left) + " objects of System V are left in the list " +
                         kind + " behind moxd's stop");
        }
    }
}

int Stage::owner_descriptors() const {
    return entries_of("/proc/" + std::to_string(owner_) + "/fd");
}

std::string Stage::owner_descriptor_names() const {
    std::string names;
    std::error_code ignored;
    for (const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(owner_) + "/fd", ignored)) {
        names += (names.empty() ? "" : ", ") + entry.path().filename().string() + " " +
                 std::filesystem::read_symlink(entry.path(), ignored).string();
    }
    return names;
}

void Stage::expect_owner_lives() const {
    if (has_ended(owner_)) {
        throw Failed("moxd has ended: " + log_end("moxd"));
    }
}

std::string Stage::log_end(const std::string& name) const {
    constexpr std::size_t longest = 600;
    const std::string log = content_of(directory_ + '/' + name + ".log");
    return log.size() > longest ? log.substr(log.size() - longest) : log;
}

}  // namespace mox::kills
