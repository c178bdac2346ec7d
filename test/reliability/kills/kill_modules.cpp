// kill_modules: kills module processes of a running system, one after the other, at random moments
// and at every step inside, and looks after each kill that the rest goes on and that nothing of the
// victim is left.
//
//   kill_modules [--short] [--seed N] [--only OPERATION]
//
// Prints one table row a figure, and its progress on the error output. Exit status 0 only when
// everything held; else 1 with a line that says what did not.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "inspector.hpp"
#include "model.hpp"
#include "operations.hpp"
#include "ordeal.hpp"
#include "shared_page.hpp"
#include "stage.hpp"

namespace mox::kills {
namespace {

struct Plan {
    bool is_short = false;
    std::uint32_t seed = std::random_device{}();
    std::string only;  // one operation's name; "" for all

    unsigned random_kills() const { return is_short ? 1 : 25; }
    unsigned system_calls_at_most() const { return is_short ? 2 : 120; }
    unsigned instructions_at_most() const { return is_short ? 5 : 45; }
};

Plan plan_of(int count, char** arguments) {
    Plan plan;
    for (int at = 1; at < count; ++at) {
        if (std::strcmp(arguments[at], "--short") == 0) {
            plan.is_short = true;
        } else if (std::strcmp(arguments[at], "--seed") == 0 && at + 1 < count) {
            plan.seed = static_cast<std::uint32_t>(std::strtoul(arguments[++at], nullptr, 10));
        } else if (std::strcmp(arguments[at], "--only") == 0 && at + 1 < count) {
            plan.only = arguments[++at];
        } else {
            throw Failed(std::string("unknown argument ") + arguments[at] +
                         "; usage: kill_modules [--short] [--seed N] [--only OPERATION]");
        }
    }
    return plan;
}

// Steps that the kills at the steps of one operation make in all, about: each costs some
// microseconds.
constexpr unsigned most_steps_in_all = 1500000;

// Of up to 200,000 instructions: stepping through them takes seconds, which only the long run has.
constexpr const char* long_operations[] = {"write of a list", "formula", "delivery of messages"};

bool takes_seconds_to_step(const Operation& operation) {
    const auto* const end = std::end(long_operations);
    return std::find(std::begin(long_operations), end, std::string(operation.name)) != end;
}

// Kills once behind the operation, to count its steps, and then at so many of them, one at random
// in each of as many equal parts; at every one when there are no more.
void kill_at_steps(Ordeal& ordeal, const Operation& operation, Step step, unsigned at_most,
                   std::mt19937& random) {
    const unsigned steps = ordeal.kill_at_step(operation, step, 0).steps;
    const unsigned affordable = most_steps_in_all / std::max(steps, 1U);
    const unsigned count = std::min({steps, at_most, std::max(affordable, 2U)});
    for (std::uint64_t part = 0; part < count; ++part) {
        const auto first = static_cast<unsigned>(part * steps / count);
        const auto end = static_cast<unsigned>((part + 1) * steps / count);
        ordeal.kill_at_step(operation, step,
                            1 + std::uniform_int_distribution<unsigned>(first, end - 1)(random));
    }
    std::fprintf(stderr, "%s: %u steps, killed at %u of them; %u kills so far\n", operation.name,
                 steps, count, ordeal.figures().kills);
}

std::vector<Operation> chosen(const std::vector<Operation>& operations, const Plan& plan) {
    std::vector<Operation> result;
    std::copy_if(operations.begin(), operations.end(), std::back_inserter(result),
                 [&](const Operation& operation) {
                     return plan.only.empty() || plan.only == operation.name;
                 });
    return result;
}

// What a run promises to have tried.
void expect_all_kinds(const Figures& figures, bool is_short) {
    if (figures.at_system_calls == 0 || figures.at_instructions == 0 || figures.at_random == 0) {
        throw Failed("a kind of kill was not tried");
    }
    const SharedPage& page = shared_page();
    if (!is_short && page.survivors[0].half_written + page.survivors[1].half_written == 0) {
        throw Failed("no kill left a value half written: the run tried nothing of that");
    }
    if (!is_short && figures.kills < 1000) {
        throw Failed("only " + std::to_string(figures.kills) + " kills");
    }
}

void kill_all(Ordeal& ordeal, const Plan& plan) {
    std::mt19937 random(plan.seed + 1);
    for (const Operation& operation : chosen(calling_operations(), plan)) {
        kill_at_steps(ordeal, operation, Step::system_call, plan.system_calls_at_most(), random);
    }
    if (!plan.is_short) ordeal.expect_pool_as_at_start();
    for (const Operation& operation : chosen(memory_operations(), plan)) {
        if (plan.is_short && takes_seconds_to_step(operation)) continue;
        kill_at_steps(ordeal, operation, Step::instruction, plan.instructions_at_most(), random);
    }
    if (!plan.is_short) ordeal.expect_pool_as_at_start();
    for (const auto* const operations :
         {&calling_operations(), &memory_operations(), &waiting_operations()}) {
        for (const Operation& operation : chosen(*operations, plan)) {
            for (unsigned count = 0; count < plan.random_kills(); ++count) {
                ordeal.kill_at_random(operation);
            }
        }
        std::fprintf(stderr, "at random moments: %u kills so far\n", ordeal.figures().kills);
    }
    ordeal.expect_pool_as_at_start();
    if (ordeal.figures().kills == 0) {
        throw Failed("there is no operation \"" + plan.only + "\"");
    }
    if (plan.only.empty()) expect_all_kinds(ordeal.figures(), plan.is_short);
}

void print_rows(const Ordeal& ordeal, const std::string& pool_at_end) {
    const Figures& figures = ordeal.figures();
    const SharedPage& page = shared_page();
    const auto row = [](const char* what, const std::string& figure) {
        std::printf("| %s | %s |\n", what, figure.c_str());
    };
    row("module kills, survivors read and write every object within 1 s",
        std::to_string(figures.kills) + " of " + std::to_string(figures.victims));
    row("of these at the entry or exit of a system call of an operation",
        std::to_string(figures.at_system_calls));
    row("of these at an instruction of an operation in memory",
        std::to_string(figures.at_instructions));
    row("of these at a random moment", std::to_string(figures.at_random));
    row("longest from a module's kill to a round of all objects by both survivors",
        std::to_string(figures.slowest_round_ms) + " ms");
    row("longest from a module's kill until nothing of it was left",
        std::to_string(figures.slowest_gone_ms) + " ms");
    row("rounds of all objects by the survivors without a mixture of two values",
        std::to_string(page.survivors[0].rounds + page.survivors[1].rounds));
    row("reads refused because a killed writer had left the value half written",
        std::to_string(page.survivors[0].half_written + page.survivors[1].half_written));
    row("values saved last by victims, there behind a restart of moxd: permanent, power-off, reset",
        std::to_string(page.saved[0].reported) + ", " + std::to_string(page.saved[1].reported) +
            ", " + std::to_string(page.saved[2].reported));
    row("pool before the module kills", ordeal.pool_at_start());
    row("pool behind them", pool_at_end);
}

// The saved values once more, from an owner that was started anew.
void expect_saved_over_restart(Stage& stage) {
    stage.start_owner();
    {
        Inspector inspector(stage);
        const std::string fault = inspector.ask(Question::are_saved);
        if (!fault.empty()) {
            throw Failed("behind a restart of moxd: " + fault);
        }
    }
    stage.stop_owner();
}

void run(const Plan& plan) {
    std::fprintf(stderr, "kill_modules: seed %u\n", plan.seed);
    shared_page();
    const int descriptors = entries_of("/proc/self/fd");
    {
        Stage stage;
        stage.start_owner();
        Ordeal ordeal(stage, plan.seed);
        kill_all(ordeal, plan);
        const std::string pool_at_end = ordeal.pool_now();
        ordeal.end();
        stage.stop_owner();
        expect_saved_over_restart(stage);
        print_rows(ordeal, pool_at_end);
    }
    if (entries_of("/proc/self/fd") != descriptors) {
        throw Failed("this process has other descriptors than at its start");
    }
}

}  // namespace
}  // namespace mox::kills

int main(int count, char** arguments) {
    mox::kills::Plan plan;
    try {
        plan = mox::kills::plan_of(count, arguments);
        mox::kills::run(plan);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "kill_modules: seed %u: %s\n", plan.seed, failure.what());
        return 1;
    }
    return 0;
}
