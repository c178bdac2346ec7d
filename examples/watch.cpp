// watch_machine: the second process of the demonstration. It joins the owner as a module, shows the
// owner's objects as they lie in the shared pool, prints changes as they arrive, and ends with a
// summary. Exit status 1, with the cause, when an event was lost, a value in the pool is wrong,
// there is nothing to see, or the owner goes away.
//
//   watch_machine [--run-dir DIR] [--seconds N] [--pid OWNER]
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <set>
#include <string>

#include "change_log.hpp"
#include "object_table.hpp"
#include "source_check.hpp"
#include "watch_options.hpp"
#include "watch_summary.hpp"

namespace mox::examples {
namespace {

// One membership: joins, dispatches the module's messages, and leaves at the end of its scope.
class Watch {
public:
    explicit Watch(const WatchOptions& options) {
        const gchar* run_dir = options.run_dir.empty() ? nullptr : options.run_dir.c_str();
        Failure failure;
        module_ = moxhost_join(run_dir, "watch_machine", MODULE_APP, failure.out());
        if (module_ == nullptr) throw WatchError("cannot join the owner: " + failure.text());
        moxhost_set_lost_func(module_, on_lost, this);
    }
    ~Watch() {
        moxhost_set_message_func(module_, nullptr, nullptr);  // the log may be gone before us
        moxhost_leave(module_);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    MoxHostModule* module() { return module_; }

    void refresh() {
        Failure failure;
        if (!moxhost_refresh(module_, failure.out())) {
            throw WatchError("the owner does not refresh its hardware: " + failure.text());
        }
    }

    // From here on, the log is told of every change of a value that has an accessor.
    void listen(const WatchedModel& model, ChangeLog& log) {
        log_ = &log;
        moxhost_set_message_func(module_, on_message, this);
        std::set<std::string> known;
        for (const WatchedObject& object : model.objects) {
            for (const WatchedProperty& property : object.properties) {
                const std::string name = object.class_name + "." + property.name;
                if (property.accessor.empty() || !known.insert(name).second) continue;
                Failure failure;
                if (!moxhost_listen(module_, object.class_name.c_str(), property.name.c_str(),
                                    failure.out())) {
                    throw WatchError("cannot listen to " + name + ": " + failure.text());
                }
            }
        }
    }

    // Dispatches messages for a time.
    void run_for(unsigned milliseconds) {
        check();
        timer_ = g_timeout_add(milliseconds, on_time, this);
        g_main_loop_run(loop_.get());
        if (timer_ != 0) g_source_remove(timer_);  // a problem ended the loop
        check();
    }

    // Waits until what was sent has arrived, 3 seconds at most, and counts.
    EventCount count_events() {
        const gint64 deadline = g_get_monotonic_time() + 3 * G_USEC_PER_SEC;
        EventCount count;
        do {
            run_for(5);
            count.sent = sent();
            while (g_main_context_iteration(nullptr, FALSE)) check();
            count.received = static_cast<gint64>(log_->received());
            count.differing = log_->differing_from_pool();
            // A change in the middle of all this would make the counts and the values worthless.
            const bool is_quiet = sent() == count.sent;
            if (is_quiet && count.sent == count.received && count.differing.empty()) break;
        } while (g_get_monotonic_time() < deadline);
        return count;
    }

    PoolUsage pool_usage() {
        PoolUsage usage;
        Failure failure;
        if (!moxhost_pool_usage(module_, &usage.total, &usage.used, failure.out())) {
            throw WatchError("the owner does not tell its pool's usage: " + failure.text());
        }
        return usage;
    }

private:
    gint64 sent() {
        Failure failure;
        const gint64 sent = moxhost_events_sent(module_, failure.out());
        if (sent < 0)
            throw WatchError("the owner does not tell its count of events: " + failure.text());
        return sent;
    }

    void check() const {
        if (!problem_.empty()) throw WatchError(problem_);
    }

    void fail(const std::string& problem) {
        if (problem_.empty()) problem_ = problem;
        g_main_loop_quit(loop_.get());
    }

    // No exception may pass through the main loop: problems are kept until it has ended.
    static void on_message(MoxHostModule* module, const MOX_MSG_S* message, gint64 arrival_ns,
                           gpointer user_data) {
        auto* watch = static_cast<Watch*>(user_data);
        try {
            watch->log_->receive(module, *message, arrival_ns);
        } catch (const std::exception& problem) {
            watch->fail(problem.what());
        }
    }
    static void on_lost(MoxHostModule*, gpointer user_data) {
        static_cast<Watch*>(user_data)->fail("the owner is gone");
    }
    static gboolean on_time(gpointer user_data) {
        auto* watch = static_cast<Watch*>(user_data);
        watch->timer_ = 0;
        g_main_loop_quit(watch->loop_.get());
        return G_SOURCE_REMOVE;
    }

    LoopPtr loop_{g_main_loop_new(nullptr, FALSE)};
    guint timer_ = 0;  // of run_for, while it waits
    MoxHostModule* module_ = nullptr;
    ChangeLog* log_ = nullptr;
    std::string problem_;
};

// Looks at every value until it is decided or has moved at every try.
SourceCheckResult check_sources(Watch& watch, const WatchedModel& model) {
    constexpr int most_rounds = 25;
    constexpr unsigned pause_ms = 40;
    SourceCheck check{model};
    for (int round = 0; round < most_rounds && !check.is_decided(); ++round) {
        check.run_round(watch.module());
        watch.run_for(pause_ms);
    }
    return check.result();
}

int run(const WatchOptions& options) {
    Watch watch{options};
    watch.refresh();
    const WatchedModel model = list_objects(watch.module());
    ChangeLog log{model};

    const std::string owner =
        options.owner_pid == 0 ? "the owner" : "process " + std::to_string(options.owner_pid);
    std::printf("\nObjects of %s, as process %d (%zu-bit) reads them from the shared pool\n",
                owner.c_str(), static_cast<int>(getpid()), sizeof(void*) * 8);
    std::printf(
        "(types: b boolean, u whole number, d floating point, s text; X, Y, Z: the value that they "
        "name)\n\n");
    print_objects(model);

    std::printf("\nChanges made by %s, as they arrive in process %d, for %u seconds\n\n",
                owner.c_str(), static_cast<int>(getpid()), options.seconds);
    log.print_heading();
    watch.listen(model, log);
    watch.run_for(options.seconds * 1000);
    log.stop_printing();

    const SourceCheckResult check = check_sources(watch, model);
    const EventCount events = watch.count_events();
    std::printf("\nSummary:\n\n");
    const auto faults = print_summary(model, log, events, watch.pool_usage(), check);
    std::fflush(stdout);
    for (const std::string& fault : faults)
        std::fprintf(stderr, "watch_machine: %s\n", fault.c_str());
    return faults.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace mox::examples

int main(int argc, char** argv) {
    // Line by line also into a pipe: what is shown happens now.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const auto options = mox::examples::parse_options(argc, argv);
    if (!options) return 2;
    try {
        return mox::examples::run(*options);
    } catch (const std::exception& problem) {
        std::fflush(stdout);
        std::fprintf(stderr, "watch_machine: %s\n", problem.what());
        return EXIT_FAILURE;
    }
}
