// The survivors must do a round that began behind the kill: the one that they were at counts for
// nothing, so two are waited for.
#include "ordeal.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "shared_page.hpp"
#include "survivor.hpp"
#include "victim.hpp"

namespace mox::kills {
namespace {

constexpr std::uint32_t bound_ms = 1000;
constexpr std::uint32_t joined_ms = 10000;
constexpr std::uint32_t pool_back_ms = 9000;
constexpr unsigned victim_seconds = 20;
constexpr int latest_random_us = 8000;

}  // namespace

Ordeal::Ordeal(Stage& stage, std::uint32_t seed) : stage_(stage), random_(seed) {
    for (std::size_t number = 0; number < survivors_.size(); ++number) {
        survivors_[number] = stage.start_process("survivor" + std::to_string(number + 1), 0, [&] {
            survive(stage.run_dir(), static_cast<int>(number),
                    seed + 1 + static_cast<std::uint32_t>(number));
        });
    }
    inspector_ = std::make_unique<Inspector>(stage);
    const SharedPage& page = shared_page();
    const bool are_ready = within_ms(joined_ms, [&] {
        expect_lives();
        return page.survivors[0].full_rounds > 1 && page.survivors[1].full_rounds > 1 &&
               page.inspector_id != 0;
    });
    if (!are_ready) {
        throw Failed("the modules are not at work 10 s after their start: " + survivors_text());
    }
    warm_up();
}

Ordeal::~Ordeal() {
    for (const pid_t survivor : survivors_) {
        if (survivor > 0) {
            kill(survivor, SIGKILL);
            waitpid(survivor, nullptr, 0);
        }
    }
}

// The lists of the collections keep the room that they had with both boards.
void Ordeal::warm_up() {
    owner_descriptors_ = stage_.owner_descriptors();
    inspector_->ask(Question::plug_both);
    expect_boards_come_back();
    inspector_->ask(Question::remember);
    pool_at_start_ = pool_now();
}

Ordeal::Moment Ordeal::moment() {
    const SharedPage& page = shared_page();
    Moment moment;
    moment.ms = now_ms();
    for (std::size_t number = 0; number < moment.rounds.size(); ++number) {
        moment.rounds[number] = page.survivors[number].rounds;
        moment.full_rounds[number] = page.survivors[number].full_rounds;
        moment.events[number] = page.survivors[number].events;
    }
    return moment;
}

pid_t Ordeal::start_victim(const Operation& operation, bool is_traced) {
    ++figures_.victims;
    SharedPage& page = shared_page();
    page.is_victim_ready = 0;
    page.is_traced = is_traced ? tracer_comes : not_traced;
    const std::uint32_t seed = static_cast<std::uint32_t>(random_());
    const pid_t victim = stage_.start_process(
        "victim", victim_seconds, [&] { be_victim(stage_.run_dir(), operation, seed); });
    setpgid(victim, victim);  // whoever comes first
    return victim;
}

void Ordeal::kill_at_random(const Operation& operation) {
    at_ = std::string("kill ") + std::to_string(figures_.kills + 1) + ", at a random moment of \"" +
          operation.name + "\"";
    const pid_t victim = start_victim(operation, false);
    const bool is_ready = within_ms(joined_ms, [&] {
        expect_lives();
        return shared_page().is_victim_ready != 0;
    });
    if (!is_ready) {
        kill(victim, SIGKILL);
        throw Failed(at_ + ": the victim is not at work after 10 s");
    }
    usleep(
        static_cast<useconds_t>(std::uniform_int_distribution<int>(0, latest_random_us)(random_)));
    Moment killed;
    kill_untraced(victim, [&] {
        killed = moment();
        shared_page().killed_at_ms = killed.ms;
    });
    judge(operation, killed);
    ++figures_.at_random;
}

Traced Ordeal::kill_at_step(const Operation& operation, Step step, unsigned at) {
    at_ = std::string("kill ") + std::to_string(figures_.kills + 1) + ", at " +
          (step == Step::system_call ? "system call stop " : "instruction ") + std::to_string(at) +
          " of \"" + operation.name + "\"";
    const pid_t victim = start_victim(operation, true);
    Moment killed;
    const Traced traced = trace_and_kill(victim, step, at, [&] {
        killed = moment();
        shared_page().killed_at_ms = killed.ms;
    });
    judge(operation, killed);
    if (!traced.has_reached_end) {
        ++(step == Step::system_call ? figures_.at_system_calls : figures_.at_instructions);
    }
    return traced;
}

void Ordeal::expect_lives() const {
    throw_failure_of_others();
    stage_.expect_owner_lives();
    for (std::size_t number = 0; number < survivors_.size(); ++number) {
        if (has_ended(survivors_[number])) {
            const std::string name = "survivor" + std::to_string(number + 1);
            throw Failed(name + " has ended: " + stage_.log_end(name));
        }
    }
}

void Ordeal::judge(const Operation& operation, const Moment& killed) {
    try {
        expect_rounds(killed, operation.boards == Boards::untouched);
        const std::uint32_t rounds_ms = now_ms() - killed.ms;
        expect_nothing_left(killed);
        figures_.slowest_round_ms = std::max(figures_.slowest_round_ms, rounds_ms);
        figures_.slowest_gone_ms = std::max(figures_.slowest_gone_ms, now_ms() - killed.ms);
        const std::string fault = inspector_->ask(Question::are_saved);
        if (!fault.empty()) {
            throw Failed(fault);
        }
        if (operation.boards == Boards::changed) {
            expect_boards_come_back();
        }
    } catch (const Failed& failure) {
        throw Failed(at_ + ": " + failure.what());
    }
    ++figures_.kills;
}

// With events among what came: each survivor hears of what the other one writes.
void Ordeal::expect_rounds(const Moment& since, bool is_full) {
    const auto has_gone_on = [&](std::size_t number) {
        const SurvivorState& survivor = shared_page().survivors[number];
        const std::uint32_t done = is_full ? survivor.full_rounds - since.full_rounds[number]
                                           : survivor.rounds - since.rounds[number];
        return done >= 2 && survivor.events != since.events[number];
    };
    while (!has_gone_on(0) || !has_gone_on(1)) {
        expect_lives();
        if (now_ms() - since.ms > bound_ms) {
            throw Failed(std::string("no ") + (is_full ? "full " : "") +
                         "round of both survivors within 1 s: " + survivors_text());
        }
        usleep(300);
    }
}

void Ordeal::expect_nothing_left(const Moment& since) {
    for (;;) {
        expect_lives();
        std::string left = inspector_->ask(Question::is_gone);
        const int descriptors = stage_.owner_descriptors();
        if (left.empty() && descriptors != owner_descriptors_) {
            left = "moxd has " + std::to_string(descriptors) + " descriptors instead of " +
                   std::to_string(owner_descriptors_) + ": " + stage_.owner_descriptor_names();
        }
        if (left.empty()) {
            return;
        }
        if (now_ms() - since.ms > bound_ms) {
            throw Failed("1 s later something is left: " + left);
        }
        usleep(500);
    }
}

void Ordeal::expect_boards_come_back() {
    const std::string cause = inspector_->ask(Question::put_back);
    if (!cause.empty()) {
        throw Failed("the boards do not come back: " + cause);
    }
    const Moment back = moment();
    expect_nothing_left(back);
    expect_rounds(back, true);
}

void Ordeal::expect_pool_as_at_start() {
    std::string difference;
    const bool is_same = within_ms(pool_back_ms, [&] {
        usleep(100000);
        expect_lives();
        difference = inspector_->ask(Question::is_pool_same);
        return difference.empty();
    });
    if (!is_same) {
        throw Failed("the pool's use does not come back: " + difference);
    }
}

std::string Ordeal::survivors_text() const {
    std::string text;
    for (const SurvivorState& survivor : shared_page().survivors) {
        const char* const object = survivor.object;
        const char* const doing = survivor.doing;
        text += (text.empty() ? "at " : ", at ") + std::string(object == nullptr ? "-" : object) +
                " (" + (doing == nullptr ? "-" : doing) + ") in round " +
                std::to_string(survivor.rounds) + " with " + std::to_string(survivor.events) +
                " events";
    }
    return text;
}

void Ordeal::end() {
    expect_lives();
    for (pid_t& survivor : survivors_) {
        kill(survivor, SIGKILL);
        waitpid(survivor, nullptr, 0);
        survivor = -1;
    }
    inspector_.reset();
}

}  // namespace mox::kills
