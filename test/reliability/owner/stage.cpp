#include "stage.hpp"

#include <sys/ipc.h>
#include <sys/msg.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "ipc_namespace.hpp"
#include "model.hpp"

namespace mox::kill_owner {
namespace {

constexpr std::uint32_t start_limit_ms = 20000;
constexpr std::uint32_t visitor_limit_ms = 10000;

std::string content_of(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// Behind the head of a list.
int lines_of(const char* list) {
    std::ifstream file(std::string("/proc/sysvipc/") + list);
    std::string line;
    int lines = -1;
    while (std::getline(file, line)) {
        ++lines;
    }
    return lines;
}

// What the threads of a process are at: their state, where they sleep, who traces them.
std::string threads_of(pid_t pid) {
    std::string text;
    std::error_code ignored;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task", ignored)) {
        const std::string path = thread.path().string();
        const std::string status = content_of(path + "/status");
        const std::size_t tracer = status.find("TracerPid:");
        const std::string stat = content_of(path + "/stat");
        text += stat.substr(0, stat.find(") ") + 3) + " in " + content_of(path + "/wchan") + ", " +
                content_of(path + "/syscall") +
                status.substr(tracer, status.find('\n', tracer) - tracer) + '\n';
    }
    return text;
}

}  // namespace

std::string SystemV::text() const {
    return std::to_string(segments) + " segments and semaphore sets of shared memory, " +
           std::to_string(sets) + " semaphore sets of the system, " + std::to_string(queues) +
           " queues";
}

SystemV system_v() {
    return {lines_of("shm"), lines_of("sem"), lines_of("msg")};
}

Stage::Stage() {
    const std::string failure = test::enter_ipc_namespace();
    if (!failure.empty()) {
        throw Failed("no System V namespace for the run: " + failure);
    }
    char name[] = "/tmp/mox-kill-owner-XXXXXX";
    if (mkdtemp(name) == nullptr) {
        throw Failed("no temporary directory");
    }
    directory_ = name;
    make_page(path("page"));
    set_chip(5);
    std::ofstream(path("dial")) << "0\n";
    std::ofstream(path("profile.json")) << profile(path("chip"), path("dial"));
}

Stage::~Stage() {
    for (std::unique_ptr<Process>& module : modules_) {
        module.reset();
    }
    owner_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void Stage::spawn_owner(Process::Trace trace) {
    // What one owner said is not the next one's.
    std::ofstream{path("owner.out")};
    std::ofstream{path("owner.err")};
    spawned_us_ = now_us();
    owner_ = std::make_unique<Process>(
        std::vector<std::string>{MOXD_PATH, "--profile", path("profile.json"), "--run-dir",
                                 path("run"), "--state-dir", path("state")},
        path("owner.out"), path("owner.err"), trace);
}

bool Stage::is_owner_ready() const {
    return content_of(path("owner.out")).find("ready: ") != std::string::npos;
}

std::string Stage::owners_words() const {
    return content_of(path("owner.out")) + content_of(path("owner.err"));
}

void Stage::start_owner() {
    spawn_owner();
    const bool is_over =
        within_ms(start_limit_ms, [this] { return is_owner_ready() || owner_->has_ended(); });
    ready_us_ = now_us();
    if (!is_over || owner_->has_ended()) {
        throw Failed("the owner did not become ready; it said:\n" + owners_words());
    }
}

void Stage::stop_owner() {
    owner_->signal(SIGTERM);
    const int status = owner_->wait();
    if (status != 0) {
        throw Failed("the owner ended with status " + std::to_string(status) + "; it said:\n" +
                     owners_words());
    }
}

std::uint32_t Stage::kill_owner() {
    const std::uint32_t moment = now_us();
    owner_->kill_now();
    return moment;
}

std::vector<std::string> Stage::module_command(const std::string& word) const {
    return {KILL_OWNER_MODULE_PATH, path("page"), path("run"), word};
}

void Stage::set_chip(int level) const {
    std::ofstream(path("chip")) << level << '\n';
}

void Stage::fill_queue(std::int32_t queue) {
    struct {
        long type = 1;
        char text[4000] = {};
    } message;
    for (const std::size_t bytes : {sizeof message.text, std::size_t{1}}) {
        while (msgsnd(queue, &message, bytes, IPC_NOWAIT) == 0) {
        }
    }
}

void Stage::start_module(std::size_t number) {
    const std::string word = std::to_string(number);
    modules_.at(number) = std::make_unique<Process>(module_command(word), path("module" + word),
                                                    path("module" + word));
}

void Stage::kill_modules(const std::vector<std::size_t>& victims) {
    for (const std::size_t victim : victims) {
        modules_.at(victim)->signal(SIGKILL);
    }
    for (const std::size_t victim : victims) {
        modules_.at(victim).reset();
        ModuleState& state = page().module.at(victim);
        state.is_lost = 1;
        state.joined_us = 0;
        state.first_work_us = 0;
        state.worked_us = 0;
        state.restarts = 0;
    }
}

void Stage::start_modules() {
    for (std::size_t number = 0; number < modules; ++number) {
        start_module(number);
    }
}

void Stage::stop_modules() {
    for (std::size_t number = 0; number < modules; ++number) {
        Process& module = *modules_.at(number);
        module.signal(SIGTERM);
        const int status = module.wait();
        if (status != 0) {
            throw Failed(std::string(module_names.at(number)) + " ended with status " +
                         std::to_string(status));
        }
    }
}

void Stage::expect_modules_live() {
    const std::string failure = failure_of_others();
    if (!failure.empty()) {
        throw Failed(failure);
    }
    for (std::size_t number = 0; number < modules; ++number) {
        if (modules_.at(number) && modules_.at(number)->has_ended()) {
            throw Failed(std::string(module_names.at(number)) + " ended with status " +
                         std::to_string(modules_.at(number)->wait()) + "; it said:\n" +
                         content_of(path("module" + std::to_string(number))));
        }
    }
}

std::unique_ptr<Process> Stage::start_visitor(const std::string& operation) {
    page().visit = Visit::none;
    auto visitor =
        std::make_unique<Process>(module_command(operation), path("visitor"), path("visitor"));
    const bool is_over = within_ms(
        visitor_limit_ms, [&] { return page().visit == Visit::ready || visitor->has_ended(); });
    if (!is_over || visitor->has_ended()) {
        const std::string threads = "the owner's threads:\n" + threads_of(owner_->pid());
        throw Failed("the visitor for " + operation + " did not become ready; visitors said:\n" +
                     content_of(path("visitor")) + threads);
    }
    return visitor;
}

void Stage::expect_whole_store() const {
    for (const char* const directory : {"run", "state"}) {
        for (const auto& entry : std::filesystem::directory_iterator(path(directory))) {
            if (entry.path().filename().string().find(".damaged") != std::string::npos) {
                throw Failed("a file of the store was damaged: " + entry.path().string());
            }
        }
    }
    const std::string words = owners_words();
    for (const char* const part : {"cannot be", "are left", "damaged"}) {
        if (words.find(part) != std::string::npos) {
            throw Failed("the owner complains:\n" + words);
        }
    }
}

std::string Stage::left_in_run_dir() const {
    std::string left;
    for (const char* const name : {"moxd.sock", "moxd.lock"}) {
        if (std::filesystem::exists(path("run") + '/' + name)) {
            left += std::string(" ") + name;
        }
    }
    return left;
}

}  // namespace mox::kill_owner
