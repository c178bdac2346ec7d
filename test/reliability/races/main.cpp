// Eight threads of the pool's owner that look up, read, write, override, delete, make again, copy,
// walk, alias, listen and dump at once, for 60 seconds (--short: 8). Every value that is seen was
// written whole, every call on a removed object says so, and at the end references, copies' bits,
// bound data and the pool are as they were at the start. Under the thread sanitizer it also finds
// what no check here could see.
#include <sys/resource.h>

#include <chrono>
#include <memory>
#include <thread>

#include "../run_options.hpp"
#include "expect.hpp"

namespace mox::test {
namespace {

using Clock = std::chrono::steady_clock;

// No call waits for ever: a thread that does not end one in this time is stuck.
constexpr std::chrono::seconds kMostForACall{60};

std::vector<NamedCall> all_calls() {
    std::vector<NamedCall> all;
    for (const auto* const calls : {&value_calls(), &object_calls(), &listening_calls()}) {
        for (const NamedCall& call : *calls) {
            all.insert(all.end(), static_cast<std::size_t>(call.weight), call);
        }
    }
    return all;
}

void play(Player& player, const std::vector<NamedCall>& calls) {
    while (!player.shared.is_over) {
        calls[player.below(calls.size())].call(player);
        ++player.calls;
    }
}

// Looks at each thread's count of calls until the time is over.
void watch(const std::vector<std::unique_ptr<Player>>& players, std::chrono::seconds length) {
    const Clock::time_point end = Clock::now() + length;
    std::vector<guint64> counts(players.size());
    std::vector<Clock::time_point> moved(players.size(), Clock::now());
    while (Clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds{200});
        for (std::size_t at = 0; at < players.size(); ++at) {
            const guint64 count = players[at]->calls;
            if (count != counts[at]) {
                counts[at] = count;
                moved[at] = Clock::now();
            }
            require(Clock::now() - moved[at] < kMostForACall,
                    "thread " + std::to_string(at) + " is stuck in a call");
        }
    }
}

void run_threads(const std::vector<std::unique_ptr<Player>>& players, Shared& shared,
                 std::chrono::seconds length) {
    const std::vector<NamedCall> calls = all_calls();
    std::vector<std::thread> threads;
    for (const auto& player : players) {
        threads.emplace_back([&player, &calls] { play(*player, calls); });
    }
    watch(players, length);
    shared.is_over = true;
    // A thread that does not come back now is stuck, too.
    std::thread{[] {
        std::this_thread::sleep_for(kMostForACall);
        broken("a thread does not end");
    }}.detach();
    for (std::thread& thread : threads) thread.join();
}

void print_figures(const std::vector<std::unique_ptr<Player>>& players, const Shared& shared,
                   std::chrono::seconds length, long used) {
    guint64 calls = 0;
    guint64 values = 0;
    guint64 gone = 0;
    guint64 events = 0;
    for (const auto& player : players) {
        calls += player->calls;
        values += player->values;
        gone += player->gone_answers;
        events += player->events;
    }
    require(values != 0 && gone != 0 && events != 0 && shared.bound != 0,
            "a kind of call was never made");
    const std::string seconds = std::to_string(length.count());
    print_row("eight threads for " + seconds + " s, calls of " +
                  std::to_string(value_calls().size() + object_calls().size() +
                                 listening_calls().size()) +
                  " kinds",
              std::to_string(calls));
    print_row("eight threads: values seen, torn", std::to_string(values) + ", 0");
    print_row("eight threads: calls on a removed object that said so",
              std::to_string(gone) + " of " + std::to_string(gone));
    print_row("eight threads: events taken whole", std::to_string(events));
    print_row("eight threads: data bound, destroyed once",
              std::to_string(shared.bound) + ", " + std::to_string(shared.destroyed));
    print_row("eight threads: pool bytes at start, at end",
              std::to_string(used) + ", " + std::to_string(used));
}

int run(const RunOptions& options) {
    const std::chrono::seconds length{options.is_short ? 8 : 60};
    Model model;
    start_listening(model);
    const long used = pool_used();
    Shared shared;
    std::vector<std::unique_ptr<Player>> players;
    for (int thread = 0; thread < kThreads; ++thread) {
        players.push_back(std::make_unique<Player>(
            model, shared, thread, options.seed + static_cast<std::uint32_t>(thread)));
    }
    run_threads(players, shared, length);
    model.remove_fleeting();
    restore_listeners();
    model.check_steady();
    const long used_at_end = pool_used();
    require(used_at_end == used, "the pool used " + std::to_string(used) + " bytes and uses " +
                                     std::to_string(used_at_end) + " at the end");
    model.remove_steady();
    require(shared.bound == shared.destroyed, std::to_string(shared.bound) + " bindings, " +
                                                  std::to_string(shared.destroyed) + " destroyed");
    print_figures(players, shared, length, used);
    return 0;
}

}  // namespace
}  // namespace mox::test

int main(int argc, char** argv) {
    return mox::test::run(mox::test::begin_run(argc, argv));
}
