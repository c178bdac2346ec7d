// kill_owner: kills moxd with SIGKILL at steps and at random moments of all that it does, while
// modules read, write and save, and looks after each kill that the modules noticed, are back on the
// next owner's pool, and that nothing that was saved is lost and nothing of the dead owner is left.
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
    unsigned at_least;  // in all; a stop may come to its end before its kill, which is none then
};
constexpr Plan short_plan = {1, 1, 2, 20};
constexpr Plan long_plan = {15, 8, 10, 200};

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
    while (rounds.figures().kills < plan.at_least) {
        rounds.kill_at_work();
    }
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
    std::int32_t saves = 0;
    for (const ModuleState& state : page().module) {
        compared += state.compared;
        restarts += state.restarts;
    }
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
        "refresh, save or stop",
        std::to_string(figures.at_steps));
    test::print_row("a module notices that its owner is gone: median", spread(figures.notice_us));
    test::print_row("a module is on the new pool after the new owner's ready line: median",
                    spread(figures.back_us));
    test::print_row("module programs executed anew", std::to_string(restarts));
    test::print_row("values compared after a new start with what was reported as saved, all there",
                    std::to_string(compared) + ", " + std::to_string(saves) + " saves");
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
