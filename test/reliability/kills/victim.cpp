// The process group of its own is what the tracer waits for: it has the victim's threads and nobody
// else.
#include "victim.hpp"

#include <sched.h>
#include <unistd.h>

#include <csignal>

#include "model.hpp"
#include "module_process.hpp"
#include "shared_page.hpp"

namespace mox::kills {
namespace {

void mark_place(bool is_traced) {
    if (is_traced) {
        raise(SIGUSR1);
    }
}

}  // namespace

void be_victim(const std::string& run_dir, const Operation& operation, std::uint32_t seed) {
    SharedPage& page = shared_page();
    const bool is_traced = page.is_traced != not_traced;
    setpgid(0, 0);
    while (page.is_traced == tracer_comes) {
        sched_yield();
    }
    mark_place(is_traced);
    Victim victim{run_dir, std::mt19937(seed)};
    if (operation.joins == Joins::first) {
        victim.module = join_as(run_dir, kVictimName, MODULE_APP);
    }
    if (operation.prepare != nullptr) {
        operation.prepare(victim);
    }
    if (operation.rehearsal == Rehearsal::yes) {
        operation.act(victim);
    }
    page.is_victim_ready = 1;
    mark_place(is_traced);
    operation.act(victim);
    mark_place(is_traced);
    while (!is_traced && operation.repeats == Repeats::yes) {
        operation.act(victim);
    }
    for (;;) {
        pause();
    }
}

}  // namespace mox::kills
