#include "part.hpp"

#include "../run_options.hpp"

namespace mox::test {
namespace {

void print_to(const std::filesystem::path& log) {
    const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    require(file >= 0 && dup2(file, STDOUT_FILENO) == STDOUT_FILENO, "no file " + log.string());
    close(file);
}

}  // namespace

Part::Part(const std::string& name, const std::filesystem::path& log,
           const std::function<void()>& body)
    : name_(name) {
    pid_ = fork();
    require(pid_ >= 0, "no process for " + name);
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    alarm(kMostSeconds);
    print_to(log);
    body();
    _exit(0);
}

Part::~Part() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
    }
}

void Part::finish() {
    int status = 0;
    require(eventually([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }),
            name_ + " does not end");
    pid_ = 0;
    require(WIFEXITED(status) && WEXITSTATUS(status) == 0,
            name_ + " ended with status " + std::to_string(status));
}

void Part::require_running() {
    int status = 0;
    if (pid_ > 0 && waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = 0;
        broken(name_ + " ended too early, with status " + std::to_string(status));
    }
}

QuietOutput::QuietOutput(const std::filesystem::path& log)
    : output_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
    print_to(log);
}

QuietOutput::~QuietOutput() {
    std::fflush(stdout);
    dup2(output_, STDOUT_FILENO);
    close(output_);
}

MoxHostModule* join_owner(const HostOwner& owner, const std::string& name, MOX_MODULE_TYPE type) {
    GError* error = nullptr;
    MoxHostModule* const module = moxhost_join(owner.run_dir().c_str(), name.c_str(), type, &error);
    require_done(module != nullptr, error, name + " joins");
    return module;
}

void require_done(gboolean is_done, GError* const& error, const std::string& what) {
    if (is_done == FALSE) broken(what + ": " + (error == nullptr ? "no cause" : error->message));
}

void run_waiting() {
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

void wait_for(const std::function<bool()>& is_true, const std::vector<Part*>& parts,
              const std::string& what) {
    const bool is_so = eventually([&] {
        run_waiting();
        for (Part* const part : parts) part->require_running();
        return is_true();
    });
    require(is_so, "not within 20 s: " + what);
}

}  // namespace mox::test
