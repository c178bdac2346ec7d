// kill_owner: kills moxd with SIGKILL at steps and at random moments of all that it does, while
// modules read, write and save, and looks after each kill that the modules noticed, are back on the
// next owner's pool, and that nothing that was saved is lost and nothing of the dead owner is left.
// Modules are killed around these deaths, too, and looked at while there is no owner.
//
//   kill_owner [--short] [--seed N]
//
// Prints a table row for each figure. Exit status 0 only when everything held.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "../run_options.hpp"
#include "rounds.hpp"
#include "stage.hpp"

namespace mox::kill_owner {
namespace {

// How many kills there are of each kind.
struct Plan {
    unsigned steps;    // of each operation, spread over its steps
    unsigned moments;  // of each operation
    unsigned at_work;
    unsigned locks;         // with each lock, and half as many that wait for it
    unsigned module_turns;  // of kills of modules of each kind
    bool has_calls;         // so many that kills in calls must be among them
    unsigned down_ms;       // without an owner
    unsigned at_least;  // in all; a stop may come to its end before its kill, which is none then
};
constexpr Plan short_plan = {1, 0, 1, 1, 1, false, 600, 20};
constexpr Plan long_plan = {10, 5, 10, 15, 10, true, 5000, 200};

void kill_modules(Rounds& rounds, unsigned turn, std::mt19937& random) {
    std::uniform_real_distribution<double> share(0.0, 1.0);
    std::uniform_int_distribution<std::uint32_t> us(0, 300000);
    const std::size_t one = turn % modules;
    const std::size_t other = (turn + 1) % modules;
    rounds.kill_modules({one, other});
    rounds.kill_modules_while_down({one});
    rounds.kill_modules_while_down({one, other});
    rounds.kill_in_restart(other, us(random));
    for (const char* const operation : {"set", "override", "apply", "plug", "copy"}) {
        rounds.kill_in_call(operation, share(random));
    }
}

// An operation may be over before the moment of its kill; that all of a kind were is a failure.
void expect_all_kinds(const Figures& figures, const Plan& plan) {
    const auto expect = [](unsigned count, const char* kind) {
        if (count == 0) {
            throw Failed(std::string("not one kill ") + kind);
        }
    };
    expect(figures.at_steps, "of the owner came at the system call that was chosen");
    expect(figures.in_locks, "of the owner came while it had an object's lock");
    expect(figures.before_locks, "of the owner came while it waited for an object's lock");
    if (plan.has_calls) {
        expect(figures.in_calls, "of a module came while the owner was at its call");
    }
}

void run(Rounds& rounds, const Plan& plan, std::mt19937& random) {
    std::uniform_real_distribution<double> share(0.0, 1.0);
    rounds.begin();
    const unsigned turns = std::max({plan.steps, plan.moments, plan.at_work});
    for (unsigned turn = 0; turn < turns; ++turn) {
        for (const std::string& operation : operations) {
            if (turn < plan.steps) {
                rounds.kill_at_step(operation, (turn + share(random)) / plan.steps);
            }
            if (turn < plan.moments) {
                rounds.kill_at_random(operation);
            }
        }
        if (turn < plan.at_work) {
            rounds.kill_at_work();
        }
        std::fprintf(stderr, "kill_owner: turn %u of %u, %u kills\n", turn + 1, turns,
                     rounds.figures().kills);
    }
    for (unsigned turn = 0; turn < plan.locks; ++turn) {
        for (const std::string& operation : lock_operations) {
            rounds.kill_in_lock(operation, (turn + share(random)) / plan.locks);
            if (turn % 2 == 0) {
                rounds.kill_before_lock(operation);
            }
        }
    }
    for (unsigned turn = 0; turn < plan.module_turns; ++turn) {
        kill_modules(rounds, turn, random);
    }
    rounds.stay_down(plan.down_ms);
    while (rounds.figures().kills < plan.at_least) {
        rounds.kill_at_work();
    }
    expect_all_kinds(rounds.figures(), plan);
    rounds.end();
}

std::string spread(std::vector<std::uint32_t> us) {
    if (us.empty()) {
        return "none";
    }
    std::sort(us.begin(), us.end());
    const auto text = [](std::uint32_t value) {
        char number[32];
        std::snprintf(number, sizeof number, "%.1f ms", value / 1000.0);
        return std::string(number);
    };
    return text(us.at(us.size() / 2)) + ", slowest of " + std::to_string(us.size()) + ' ' +
           text(us.back());
}

void print(const Figures& figures) {
    std::uint32_t compared = 0;
    std::uint32_t restarts = 0;
    std::uint32_t alone = 0;
    std::uint32_t alone_us = 0;
    std::int32_t saves = 0;
    for (const ModuleState& state : page().module) {
        compared += state.compared;
        restarts += state.restarts;
        alone += state.alone;
        alone_us = std::max<std::uint32_t>(alone_us, state.alone_us);
    }
    restarts += figures.restarts;
    for (const auto& saver : page().saved) {
        for (const SavedState& saved : saver) {
            saves += saved.reported;
        }
    }
    const std::string kills = std::to_string(figures.kills);
    test::print_row("owner kills after which all modules were back and nothing was lost or left",
                    kills + " of " + kills);
    test::print_row(
        "of these at a chosen system call of a start, join, copy, leave, plug, unplug, "
        "refresh, save, stop, apply, larger text, operator's set and override, restore to "
        "defaults, "
        "message to a full queue or clean-up after a module",
        std::to_string(figures.at_steps));
    test::print_row("of these after which all living modules worked on without an owner within 1 s",
                    std::to_string(figures.works_alone));
    test::print_row("of these while it had an object's lock, waited for one",
                    std::to_string(figures.in_locks) + ", " + std::to_string(figures.before_locks));
    test::print_row("module kills after which the same held, in all",
                    std::to_string(figures.module_kills));
    test::print_row(
        "of these without an owner, while executed anew, in a call, two at once",
        std::to_string(figures.while_down) + ", " + std::to_string(figures.in_restarts) + ", " +
            std::to_string(figures.in_calls) + ", 2 x " + std::to_string(figures.at_once));
    test::print_row("longest from a module's kill to work of all others",
                    std::to_string(figures.survivors_us / 1000) + " ms");
    test::print_row("longest time without an owner, reads and writes in it, the slowest round",
                    std::to_string(figures.down_us / 1000) + " ms, " + std::to_string(alone) +
                        ", " + std::to_string(alone_us / 1000.0).substr(0, 4) + " ms");
    test::print_row("a module notices that its owner is gone: median", spread(figures.notice_us));
    test::print_row("a module is on the new pool after the new owner's ready line: median",
                    spread(figures.back_us));
    test::print_row("module programs executed anew", std::to_string(restarts));
    test::print_row("values compared after a new start with what was reported as saved, all there",
                    std::to_string(compared) + ", " + std::to_string(saves) + " saves");
    test::print_row("new pools used as the first one was: blocks, bytes of objects, of classes",
                    std::to_string(figures.pools) + " of " + std::to_string(figures.pools));
    test::print_row("System V objects and damaged files left by killed owners", "0");
}

}  // namespace
}  // namespace mox::kill_owner

using namespace mox::kill_owner;

int main(int argc, char** argv) {
    const mox::test::RunOptions options = mox::test::read_options(argc, argv);
    std::mt19937 random(options.seed);
    try {
        Stage stage;
        Rounds rounds(stage, options.seed + 1);
        try {
            run(rounds, options.is_short ? short_plan : long_plan, random);
        } catch (const Failed& failure) {
            throw Failed("kill " + std::to_string(rounds.figures().kills) + " (" + rounds.doing() +
                         "): " + failure.what());
        }
        print(rounds.figures());
    } catch (const Failed& failure) {
        std::fprintf(stderr, "kill_owner: seed %u: %s\n", options.seed, failure.what());
        return 1;
    }
    return 0;
}
