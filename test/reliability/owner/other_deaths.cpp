// Deaths of modules, in all that may happen around them, and of an owner that has or wants a lock.
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "model.hpp"
#include "rounds.hpp"
#include "visit.hpp"

namespace mox::kill_owner {
namespace {

constexpr std::uint32_t limit_us = 1000000;  // for each call without an owner, and to work on
constexpr std::uint32_t slice_ms = 500;      // in which all must have done something
constexpr std::uint32_t patience_ms = 10000;
constexpr unsigned without_end = ~0U;

std::string names_of(const Rounds::Modules& victims) {
    std::string names;
    for (const std::size_t victim : victims) {
        names += std::string(" ") + module_names.at(victim);
    }
    return names;
}

bool is_among(std::size_t number, const Rounds::Modules& victims) {
    return std::find(victims.begin(), victims.end(), number) != victims.end();
}

}  // namespace

// With the visitor's lock in the owner's way.
void Rounds::begin_locked(const std::string& operation) {
    page().is_quiet = 1;
    visitor_ = stage_.start_visitor(std::string(locked_prefix) + operation);
    if (!within_ms(patience_ms, [this] { return stage_.owner().waits_for_lock(); })) {
        throw Failed("the owner does not wait for the lock");
    }
}

void Rounds::learn_locks() {
    for (const std::string& operation : lock_operations) {
        doing_ = "learning the length of the lock of " + operation;
        begin_locked(operation);
        stage_.owner().trace();
        page().visit = Visit::wanted;
        lengths_[std::string(locked_prefix) + operation].steps =
            stage_.owner().run_in_lock(without_end);
        std::fprintf(stderr, "kill_owner: %s, %u instructions with the lock\n", operation.c_str(),
                     lengths_[std::string(locked_prefix) + operation].steps);
        stage_.owner().untrace();
        end_visitor(operation);
        page().is_quiet = 0;
        usleep(20000);
    }
}

void Rounds::kill_in_lock(const std::string& operation, double part) {
    const unsigned length = lengths_.at(std::string(locked_prefix) + operation).steps;
    const auto last = std::min(length, 1 + static_cast<unsigned>(part * length));
    doing_ = operation + ", kill at instruction " + std::to_string(last) + " of " +
             std::to_string(length) + " with the lock";
    begin_locked(operation);
    stage_.owner().trace();
    page().visit = Visit::wanted;
    const unsigned held = stage_.owner().run_in_lock(last);
    figures_.in_locks += kill_and_check(Locks::are_there) && held == last ? 1U : 0U;
}

void Rounds::kill_before_lock(const std::string& operation) {
    doing_ = operation + ", kill while the owner waits for the lock";
    begin_locked(operation);
    figures_.before_locks += kill_and_check(Locks::are_there) ? 1U : 0U;
    ++figures_.module_kills;
}

// Every module that had worked reads, and writes where it may, all the time.
void Rounds::expect_work_alone(std::uint32_t milliseconds) {
    const std::uint32_t begin = now_us();
    page().is_alone = 1;
    do {
        std::array<std::uint32_t, modules> before = {};
        for (std::size_t number = 0; number < modules; ++number) {
            before.at(number) = page().module.at(number).alone;
        }
        for (std::size_t number = 0; number < modules; ++number) {
            const ModuleState& state = page().module.at(number);
            const bool is_killed = state.first_work_us == 0;
            if (!is_killed &&
                !within_ms(limit_us / 1000, [&] { return state.alone != before.at(number); })) {
                stage_.expect_modules_live();
                throw Failed(std::string(module_names.at(number)) +
                             " does nothing without an owner: " + states());
            }
            if (state.alone_us > limit_us) {
                throw Failed(std::string(module_names.at(number)) + " needed " +
                             std::to_string(state.alone_us / 1000) + " ms without an owner");
            }
        }
        usleep(std::min(milliseconds, slice_ms) * 1000);
    } while (now_us() - begin < milliseconds * 1000);
    page().is_alone = 0;
    stage_.expect_modules_live();
    ++figures_.works_alone;
    figures_.down_us = std::max(figures_.down_us, now_us() - begin);
}

void Rounds::stay_down(std::uint32_t milliseconds) {
    doing_ = "no owner for " + std::to_string(milliseconds) + " ms";
    const JoinedNow were_joined = joined_now();
    const std::uint32_t killed_us = stage_.kill_owner();
    ++figures_.kills;
    expect_notice(killed_us, were_joined);
    expect_work_alone(milliseconds);
    stage_.start_owner();
    expect_back();
    expect_nothing_left();
}

void Rounds::kill(const Modules& victims) {
    for (const std::size_t victim : victims) {
        figures_.restarts += page().module.at(victim).restarts;
        ++page().kills;
        ++figures_.module_kills;
    }
    stage_.kill_modules(victims);
}

void Rounds::start(const Modules& victims) {
    for (const std::size_t victim : victims) {
        stage_.start_module(victim);
    }
}

// The others work on; whoever was killed, or is without an owner, is not looked at.
void Rounds::expect_work_since(std::uint32_t moment_us, const Modules& victims) {
    for (std::size_t number = 0; number < modules; ++number) {
        if (is_among(number, victims)) {
            continue;
        }
        const ModuleState& state = page().module.at(number);
        const auto has_worked = [&] { return state.worked_us > moment_us; };
        const bool is_good = within_ms(patience_ms, has_worked);
        stage_.expect_modules_live();
        const std::uint32_t us = is_good ? state.worked_us - moment_us : patience_ms * 1000;
        figures_.survivors_us = std::max(figures_.survivors_us, us);
        if (us > limit_us) {
            throw Failed(std::string(module_names.at(number)) + " did not read and write for " +
                         std::to_string(us / 1000) + " ms: " + states());
        }
    }
}

void Rounds::kill_modules(const Modules& victims) {
    doing_ = "kill of" + names_of(victims);
    const std::uint32_t moment = now_us();
    kill(victims);
    expect_work_since(moment, victims);
    SystemV wanted = fresh_;
    wanted.queues -= static_cast<int>(victims.size());
    if (!within_ms(limit_us / 1000, [&] { return system_v() == wanted; })) {
        throw Failed("of killed modules there are left " + system_v().text() + " instead of " +
                     wanted.text());
    }
    start(victims);
    expect_back();
    expect_nothing_left();
    figures_.at_once += victims.size() > 1 ? 1U : 0U;
}

void Rounds::kill_modules_while_down(const Modules& victims) {
    doing_ = "kill of the owner and then of" + names_of(victims);
    const JoinedNow were_joined = joined_now();
    const std::uint32_t killed_us = stage_.kill_owner();
    ++figures_.kills;
    expect_notice(killed_us, were_joined);
    kill(victims);
    expect_work_alone(0);
    stage_.start_owner();
    start(victims);
    expect_back();
    expect_nothing_left();
    figures_.while_down += static_cast<unsigned>(victims.size());
}

void Rounds::kill_in_restart(std::size_t victim, std::uint32_t us) {
    doing_ = std::string("kill of ") + module_names.at(victim) + ", " + std::to_string(us) +
             " us after the next owner was ready";
    const JoinedNow were_joined = joined_now();
    const std::uint32_t killed_us = stage_.kill_owner();
    ++figures_.kills;
    expect_notice(killed_us, were_joined);
    stage_.start_owner();
    usleep(us);
    kill({victim});
    start({victim});
    expect_back();
    expect_nothing_left();
    ++figures_.in_restarts;
}

void Rounds::kill_in_call(const std::string& operation, double part) {
    const unsigned steps = lengths_.at(operation).steps;
    const auto step = std::min(steps, 1 + static_cast<unsigned>(part * steps));
    doing_ =
        "kill of a visitor at the owner's step " + std::to_string(step) + " of its " + operation;
    const unsigned made = steps_of_operation(operation, step);
    visitor_.reset();
    stage_.owner().untrace();
    const std::uint32_t moment = now_us();
    page().is_quiet = 0;
    ++page().kills;
    ++figures_.module_kills;
    expect_work_since(moment, {});
    expect_nothing_left();
    expect_whole_or_none(operation);
    figures_.in_calls += made == step ? 1U : 0U;
}

}  // namespace mox::kill_owner
