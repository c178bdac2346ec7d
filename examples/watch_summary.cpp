#include "watch_summary.hpp"

#include <algorithm>
#include <cstdio>

namespace mox::examples {
namespace {

double median(std::vector<double> numbers) {
    const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
    std::nth_element(numbers.begin(), middle, numbers.end());
    return *middle;
}

void print_delays(const std::vector<double>& delays_us) {
    if (delays_us.empty()) {
        std::printf("  %-20s nothing changed while we watched\n", "delay");
        return;
    }
    std::printf("  %-20s median %.0f us, worst %.0f us, from the owner's reading of the hardware\n",
                "delay", median(delays_us), *std::max_element(delays_us.begin(), delays_us.end()));
}

void print_names(const char* what, const std::vector<std::string>& names) {
    if (names.empty()) return;
    std::printf("  %-20s %s:", "", what);
    for (const std::string& name : names) std::printf(" %s", name.c_str());
    std::printf("\n");
}

std::vector<std::string> find_faults(const EventCount& events, const SourceCheckResult& check) {
    std::vector<std::string> faults;
    if (events.sent != events.received) {
        faults.push_back("the owner sent " + std::to_string(events.sent) + " events, but " +
                         std::to_string(events.received) + " arrived");
    }
    for (const std::string& name : events.differing) {
        faults.push_back("the last event of " + name +
                         " brought another value than the pool holds");
    }
    for (const std::string& difference : check.disagreed) faults.push_back(difference);
    if (check.agreed == 0) faults.emplace_back("no value could be compared with its file");
    return faults;
}

}  // namespace

std::vector<std::string> print_summary(const WatchedModel& model, const ChangeLog& log,
                                       const EventCount& events, const PoolUsage& pool,
                                       const SourceCheckResult& check) {
    std::printf("  %-20s %zu, and %zu chips and accessors behind them\n", "objects",
                model.objects.size(), model.hardware_objects);
    std::printf("  %-20s %zu, %zu of them read from the hardware\n", "properties",
                model.property_count(), model.accessor_count());
    std::printf("  %-20s %u of %u KiB used\n", "pool", (pool.used + 1023) / 1024,
                pool.total / 1024);
    std::printf("  %-20s %" G_GINT64_FORMAT " sent by the owner, %" G_GINT64_FORMAT
                " received here: %zu shown above, %zu during the checks\n",
                "events", events.sent, events.received, log.printed(),
                log.received() - log.printed());
    print_delays(log.delays_us());
    std::printf("  %-20s %zu of %zu values were in the pool when their event arrived%s\n",
                "events and pool", log.printed() - log.overtaken(), log.printed(),
                log.overtaken() == 0 ? "" : "; the others' were newer there already");
    std::printf("  %-20s %zu agreed, %zu kept moving, %zu disagreed\n", "files and pool",
                check.agreed, check.moving.size(), check.disagreed.size());
    print_names("kept moving", check.moving);
    print_names("no value in its file now", check.absent);
    return find_faults(events, check);
}

}  // namespace mox::examples
