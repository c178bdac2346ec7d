// Steps are entries and exits of the system calls of the owner's main thread, which does all of its
// work. While an operation of a visitor is stepped through, the other modules are quiet, so that
// the steps are the operation's.
#include "rounds.hpp"

#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "model.hpp"

namespace mox::kill_owner {
namespace {

constexpr std::uint32_t limit_us = 1000000;    // to notice, and to be back
constexpr std::uint32_t patience_ms = 10000;   // until it is said that nothing came
constexpr std::uint32_t operation_ms = 10000;  // that no operation takes
constexpr unsigned without_end = ~0U;
constexpr int saves_in_an_operation = 4;
constexpr std::uint32_t three_refreshes_us = 170000;

bool is_of_visitor(const std::string& operation) {
    return operation != "start" && operation != "stop" && operation != "save";
}

std::int32_t saves_reported() {
    std::int32_t all = 0;
    for (const SavedState& saved : page().saved.at(0)) {
        all += saved.reported;
    }
    return all;
}

std::string milliseconds(std::uint32_t us) {
    return std::to_string(us / 1000) + " ms";
}

}  // namespace

void Rounds::begin() {
    doing_ = "starting";
    stage_.start_owner();
    stage_.start_modules();
    expect_back();
    fresh_ = system_v();
    for (const std::string& operation : operations) {
        if (operation != "start" && operation != "stop") {
            learn(operation);
        }
    }
    learn_locks();
    learn_start_and_stop();
    expect_back();
    expect_nothing_left();
}

// Begins what the owner is to be killed at, with its visitor ready.
void Rounds::begin_operation(const std::string& operation) {
    begun_us_ = now_us();
    if (operation == "stop") {
        stage_.owner().signal(SIGTERM);
    } else if (operation == "clean-up") {
        visitor_->signal(SIGKILL);
    } else if (operation == "full") {
        visitor_->signal(SIGSTOP);
        // Twice: its reader may have been at a message when it was stopped.
        Stage::fill_queue(page().queue);
        usleep(5000);
        Stage::fill_queue(page().queue);
        stage_.set_chip(++level_);
    }
    page().visit = Visit::wanted;
}

bool Rounds::is_over(const std::string& operation, std::int32_t saves) const {
    if (operation == "start" || operation == "stop") {
        return false;
    }
    if (operation == "full") {
        return now_us() - begun_us_ > three_refreshes_us;
    }
    if (operation == "clean-up") {
        return system_v() == fresh_;
    }
    return operation == "save" ? saves_reported() >= saves : page().visit == Visit::done;
}

// What the restore takes away is given up before, while nobody saves.
void Rounds::give_up_saved() {
    page().is_quiet = 1;
    std::int32_t before = -1;
    while (before != saves_reported()) {
        before = saves_reported();
        usleep(20000);
    }
    for (auto& saver : page().saved) {
        for (std::size_t kind = 0; kind < saved_kinds; ++kind) {
            if (is_lost_by_restore(kind)) {
                saver.at(kind).reported = 0;
            }
        }
    }
}

// The owner is stepped through it, up to a step or to its end. Gives the steps.
unsigned Rounds::steps_of_operation(const std::string& operation, unsigned last_step) {
    const std::int32_t saves = saves_reported() + saves_in_an_operation;
    if (is_of_visitor(operation)) {
        if (operation == "restore") give_up_saved();
        page().is_quiet = 1;
        visitor_ = stage_.start_visitor(operation);
    }
    stage_.owner().trace();
    begin_operation(operation);
    return stage_.owner().run_steps(last_step, [&] { return is_over(operation, saves); });
}

// The operation is begun and goes on for so long, or to its end.
void Rounds::run_operation(const std::string& operation, std::uint32_t so_long_us) {
    const std::int32_t saves = saves_reported() + saves_in_an_operation;
    if (is_of_visitor(operation)) {
        if (operation == "restore") give_up_saved();
        visitor_ = stage_.start_visitor(operation);
    }
    const std::uint32_t begin = now_us();
    begin_operation(operation);
    if (so_long_us != without_end) {
        usleep(so_long_us);
        return;
    }
    const bool is_done = within_ms(operation_ms, [&] {
        return operation == "stop" ? stage_.owner().has_ended() : is_over(operation, saves);
    });
    if (!is_done) {
        throw Failed(operation + " does not come to its end");
    }
    lengths_[operation].us = now_us() - begin;
}

void Rounds::end_visitor(const std::string& operation) {
    if (operation == "full") {
        visitor_->signal(SIGCONT);
    }
    const int expected = operation == "clean-up" ? -SIGKILL : 0;
    if (visitor_ && visitor_->wait() != expected) {
        throw Failed("a visitor was refused " + operation);
    }
    visitor_.reset();
}

void Rounds::learn(const std::string& operation) {
    doing_ = "learning the length of " + operation;
    lengths_[operation].steps = steps_of_operation(operation, without_end);
    stage_.owner().untrace();
    page().is_quiet = 0;
    for (int pass = 0; pass < 2; ++pass) {
        end_visitor(operation);
        if (pass == 0) {
            usleep(20000);  // the owner lets the visitor's name go when it sees that it has ended
            run_operation(operation, without_end);
        }
    }
    page().is_quiet = 0;
    usleep(20000);
}

void Rounds::learn_start_and_stop() {
    doing_ = "learning the length of a stop and a start";
    lengths_["stop"].steps = steps_of_operation("stop", without_end);
    if (stage_.owner().wait() != 0) {
        throw Failed("the owner did not stop as it should");
    }
    stage_.spawn_owner(Process::Trace::yes);
    lengths_["start"].steps =
        stage_.owner().run_steps(without_end, [this] { return stage_.is_owner_ready(); });
    stage_.kill_owner();
    stage_.start_owner();
    expect_back();
    run_operation("stop", without_end);
    stage_.start_owner();
    lengths_["start"].us = stage_.ready_us() - stage_.spawned_us();
}

void Rounds::kill_at_step(const std::string& operation, double part) {
    const unsigned steps = lengths_.at(operation).steps;
    const auto step = std::min(steps, 1 + static_cast<unsigned>(part * steps));
    unsigned made = 0;
    doing_ = operation + ", kill at step " + std::to_string(step) + " of " + std::to_string(steps);
    if (operation == "start") {
        stop_and_expect_notice();
        stage_.spawn_owner(Process::Trace::yes);
        made = stage_.owner().run_steps(step, [this] { return stage_.is_owner_ready(); });
    } else {
        made = steps_of_operation(operation, step);
    }
    // It may have been over before the step.
    figures_.at_steps += kill_and_check(locks_in(operation)) && made == step ? 1U : 0U;
}

void Rounds::kill_at_random(const std::string& operation) {
    const std::uint32_t longest = lengths_.at(operation).us * 5 / 4;
    const std::uint32_t us = std::uniform_int_distribution<std::uint32_t>(0, longest)(random_);
    doing_ = operation + ", kill after " + std::to_string(us) + " us";
    if (operation == "start") {
        stop_and_expect_notice();
        stage_.spawn_owner();
        usleep(us);
    } else {
        run_operation(operation, us);
    }
    kill_and_check(locks_in(operation));
}

void Rounds::kill_at_work() {
    const std::uint32_t us = std::uniform_int_distribution<std::uint32_t>(0, 100000)(random_);
    doing_ = "usual work, kill after " + std::to_string(us) + " us";
    usleep(us);
    kill_and_check(Locks::are_there);
}

void Rounds::end() {
    doing_ = "the end";
    stop_and_expect_notice();
    stage_.start_owner();
    expect_back();
    expect_nothing_left();
    stage_.stop_modules();
    stage_.stop_owner();
    const SystemV left = system_v();
    if (left.all() != 0) {
        throw Failed("left behind after the end: " + left.text());
    }
    if (!stage_.left_in_run_dir().empty()) {
        throw Failed("left behind in the run directory:" + stage_.left_in_run_dir());
    }
}

void Rounds::stop_and_expect_notice() {
    const JoinedNow were_joined = joined_now();
    stage_.stop_owner();
    expect_notice(now_us(), were_joined);
}

Rounds::JoinedNow Rounds::joined_now() const {
    JoinedNow result = {};
    for (std::size_t number = 0; number < modules; ++number) {
        result.at(number) = page().module.at(number).is_lost == 0;
    }
    return result;
}

Rounds::Locks Rounds::locks_in(const std::string& operation) {
    return operation == "start" || operation == "stop" ? Locks::may_be_gone : Locks::are_there;
}

bool Rounds::kill_and_check(Locks locks) {
    const JoinedNow were_joined = joined_now();
    const bool has_stopped = stage_.owner().has_ended();
    const std::uint32_t killed_us = stage_.kill_owner();
    visitor_.reset();
    page().is_quiet = 0;
    // A stop may come to its end before its random moment; then it was no kill.
    figures_.kills += has_stopped ? 0U : 1U;
    const bool is_work_possible = !has_stopped && locks == Locks::are_there;
    if (is_work_possible) {
        expect_notice(killed_us, were_joined);
        expect_work_alone(0);
    }
    stage_.start_owner();
    if (!has_stopped && !is_work_possible) {
        expect_notice(killed_us, were_joined);
    }
    expect_back();
    expect_nothing_left();
    return !has_stopped;
}

// gone_us: when it was gone at the earliest. A module may notice a stop before the owner is gone.
void Rounds::expect_notice(std::uint32_t gone_us, const JoinedNow& were_joined) {
    for (std::size_t number = 0; number < modules; ++number) {
        if (!were_joined.at(number)) {
            continue;
        }
        const ModuleState& state = page().module.at(number);
        const auto has_noticed = [&] {
            return state.noticed_us > gone_us || state.is_lost != 0 ||
                   state.joined_us > stage_.spawned_us();
        };
        if (!within_ms(patience_ms, has_noticed)) {
            stage_.expect_modules_live();
            throw Failed(std::string(module_names.at(number)) + " does not notice it: " + states());
        }
        const std::uint32_t noticed = state.noticed_us;
        const std::uint32_t us = noticed > gone_us ? noticed - gone_us : 0;
        figures_.notice_us.push_back(us);
        if (us > limit_us) {
            throw Failed(std::string(module_names.at(number)) + " noticed it after " +
                         milliseconds(us));
        }
    }
}

bool Rounds::are_back() {
    stage_.expect_modules_live();
    for (std::size_t number = 0; number < modules; ++number) {
        const ModuleState& state = page().module.at(number);
        if (state.is_lost != 0 || state.joined_us < stage_.spawned_us() ||
            state.worked_us < stage_.ready_us() || state.checked != state.lives) {
            return false;
        }
    }
    return true;
}

void Rounds::expect_back() {
    if (!within_ms(patience_ms, [this] { return are_back(); })) {
        throw Failed("not all modules are back on the new pool: " + states());
    }
    for (std::size_t number = 0; number < modules; ++number) {
        const std::uint32_t joined = page().module.at(number).joined_us;
        const std::uint32_t us = joined > stage_.ready_us() ? joined - stage_.ready_us() : 0;
        if (page().module.at(number).restarts == 0) {
            continue;  // the first life waited for nothing
        }
        figures_.back_us.push_back(us);
        if (us > limit_us) {
            throw Failed(std::string(module_names.at(number)) + " was back after " +
                         milliseconds(us) + ": " + states());
        }
        if (page().module.at(number).first_work_us >
            std::max(joined, stage_.ready_us()) + limit_us) {
            throw Failed(std::string(module_names.at(number)) +
                         " joined, but did not read and write within 1 s: " + states());
        }
    }
    if (compared_pool_of_us_ != stage_.spawned_us()) {
        expect_same_pool();
        compared_pool_of_us_ = stage_.spawned_us();
    }
}

void Rounds::expect_nothing_left() const {
    // Of a visitor that died the owner has to notice it.
    if (!within_ms(limit_us / 1000, [this] { return system_v() == fresh_; })) {
        throw Failed("there are " + system_v().text() + " instead of " + fresh_.text());
    }
    stage_.expect_whole_store();
}

std::string Rounds::states() const {
    std::string text = "now " + std::to_string(now_us()) + ", owner from " +
                       std::to_string(stage_.spawned_us()) + ", ready " +
                       std::to_string(stage_.ready_us());
    for (std::size_t number = 0; number < modules; ++number) {
        const ModuleState& state = page().module.at(number);
        text += std::string("; ") + module_names.at(number) + " life " +
                std::to_string(state.lives) + ", checked " + std::to_string(state.checked) +
                ", joined " + std::to_string(state.joined_us) + ", noticed " +
                std::to_string(state.noticed_us) + ", lost " + std::to_string(state.is_lost) +
                ", asked " + std::to_string(state.kept_us) + ", executed " +
                std::to_string(state.executed_us) + ", worked " + std::to_string(state.worked_us);
    }
    return text;
}

}  // namespace mox::kill_owner
