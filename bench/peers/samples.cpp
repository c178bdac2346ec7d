// A percentile is the least sample that so many are not above; the median of an even count is the
// lower of the middle two.
#include "samples.hpp"

#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iomanip>
#include <sstream>

namespace mox::peers {
namespace {

double percentile(const std::vector<double>& sorted, double share) {
    const double rank = std::ceil(share * static_cast<double>(sorted.size()));
    return sorted[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
}

// times: sorted, for the percentile and the longest.
std::string line_for(const RowName& name, std::size_t samples, double median_ns,
                     const std::vector<double>& times) {
    std::ostringstream line;
    line << std::fixed << std::setprecision(1) << R"({"row":")" << name.row << R"(","pinning":")"
         << name.cores << R"(","samples":)" << samples << R"(,"median_ns":)" << median_ns
         << R"(,"p99_ns":)" << percentile(times, 0.99) << R"(,"worst_ns":)" << times.back() << '}';
    return line.str();
}

}  // namespace

std::int64_t now_ns() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

std::string line_of_samples(const RowName& name, std::vector<double> samples_ns) {
    std::sort(samples_ns.begin(), samples_ns.end());
    return line_for(name, samples_ns.size(), percentile(samples_ns, 0.5), samples_ns);
}

std::string line_of_stream(const RowName& name, std::int64_t total_ns, std::size_t events,
                           std::vector<double> blocks_ns) {
    std::sort(blocks_ns.begin(), blocks_ns.end());
    return line_for(name, events, static_cast<double>(total_ns) / static_cast<double>(events),
                    blocks_ns);
}

}  // namespace mox::peers
