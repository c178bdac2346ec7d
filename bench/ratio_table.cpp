#include "ratio_table.hpp"

#include <cstdio>

namespace mox::bench {
namespace {

const std::string kFloor = "floor/";

// The benchmark's own name, without what the library appends for manual time.
std::string row_name(const benchmark::BenchmarkReporter::Run& run) {
    std::string name = run.run_name.function_name;
    if (!run.run_name.args.empty()) {
        name += "/" + run.run_name.args;
    }
    return name;
}

}  // namespace

bool RatioTable::ReportContext(const Context&) {
    return true;
}

void RatioTable::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") {
            continue;
        }
        const std::string name = row_name(run);
        order_[{run.family_index, run.per_family_instance_index}] = name;
        median_ns_[name] = run.GetAdjustedRealTime();
    }
}

double RatioTable::median_ns(const std::string& name) const {
    const auto found = median_ns_.find(name);
    return found == median_ns_.end() ? 0 : found->second;
}

int RatioTable::print() const {
    int without_floor = 0;
    for (const auto& [place, name] : order_) {
        if (name.starts_with(kFloor)) {
            continue;
        }
        const auto floor = median_ns_.find(kFloor + name);
        if (floor == median_ns_.end()) {
            std::printf("| %s | %.0f ns | | |\n", name.c_str(), median_ns_.at(name));
            ++without_floor;
            continue;
        }
        std::printf("| %s | %.0f ns | %.0f ns | %.2f |\n", name.c_str(), median_ns_.at(name),
                    floor->second, median_ns_.at(name) / floor->second);
    }
    return without_floor;
}

}  // namespace mox::bench
