// Questions and answers go over a socket that keeps their borders. Between them the inspector runs
// its main loop, or it would keep the memory of removed boards.
#include "inspector.hpp"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "leftovers.hpp"
#include "module_process.hpp"
#include "shared_page.hpp"

namespace mox::kills {
namespace {

constexpr std::size_t longest_answer = 900;
constexpr int answer_within_ms = 5000;
constexpr int loop_interval_ms = 5;

class Desk {
public:
    explicit Desk(const std::string& run_dir)
        : module_(join_as(run_dir, "inspector", MODULE_INTERFACE)) {
        shared_page().inspector_id = moxhost_reg_info(module_)->module_id;
    }

    void run_loop() {
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
    }

    std::string answer(Question question) {
        switch (question) {
            case Question::remember:
                noted_ = pool_of(module_);
                return "";
            case Question::is_gone:
                return leftovers(module_);
            case Question::plug_both:
                return plug_both_boards(module_);
            case Question::put_back:
                return put_boards_back(module_);
            case Question::are_saved:
                return saved_fault();
            case Question::is_pool_same: {
                const MoxHostPoolInfo now = pool_of(module_);
                return is_same_use(now, noted_)
                           ? ""
                           : "it was " + pool_text(noted_) + ", and is " + pool_text(now);
            }
            case Question::tell_pool:
                return pool_text(pool_of(module_));
        }
        return "no such question";
    }

private:
    MoxHostModule* module_;
    MoxHostPoolInfo noted_ = {};
};

[[noreturn]] void serve(const std::string& run_dir, int socket) {
    Desk desk(run_dir);
    for (;;) {
        pollfd waiting = {socket, POLLIN, 0};
        poll(&waiting, 1, loop_interval_ms);
        desk.run_loop();
        Question question = {};
        const ssize_t got = recv(socket, &question, sizeof question, MSG_DONTWAIT);
        if (got == 0) {
            _exit(0);
        }
        if (got == sizeof question) {
            const std::string answer = desk.answer(question);
            send(socket, answer.c_str(), std::min(answer.size(), longest_answer - 1) + 1, 0);
        }
    }
}

}  // namespace

Inspector::Inspector(const Stage& stage) {
    int ends[2] = {};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw Failed("no pair of sockets can be made");
    }
    process_ = stage.start_process("inspector", 0, [&] {
        close(ends[0]);
        serve(stage.run_dir(), ends[1]);
    });
    close(ends[1]);
    socket_ = ends[0];
}

Inspector::~Inspector() {
    close(socket_);
    waitpid(process_, nullptr, 0);
}

std::string Inspector::ask(Question question) {
    send(socket_, &question, sizeof question, MSG_NOSIGNAL);
    pollfd waiting = {socket_, POLLIN, 0};
    char answer[longest_answer] = {};
    const bool has_answer =
        poll(&waiting, 1, answer_within_ms) == 1 && recv(socket_, answer, sizeof answer - 1, 0) > 0;
    throw_failure_of_others();
    if (!has_answer) {
        throw Failed("the inspector does not answer within 5 s: a call of its own hangs");
    }
    return answer;
}

}  // namespace mox::kills
