// Collects the medians of a run and prints each row beside its floor: a benchmark "x" has its floor
// in "floor/x".
#ifndef MOX_BENCH_RATIO_TABLE_HPP
#define MOX_BENCH_RATIO_TABLE_HPP

#include <benchmark/benchmark.h>
#include <glib.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace mox::bench {

class RatioTable : public benchmark::ConsoleReporter {
public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;

    // Prints the table; returns how many rows have no floor.
    int print() const;

    // The median of a row, ns; 0 when it did not run.
    double median_ns(const std::string& name) const;

private:
    // Where a row stands among the benchmarks, whatever order they ran in.
    std::map<std::pair<gint64, gint64>, std::string> order_;
    std::map<std::string, double> median_ns_;
};

}  // namespace mox::bench

#endif
