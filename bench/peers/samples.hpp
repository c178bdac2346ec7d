// The times of one row and what is told of them.
#ifndef MOX_BENCH_PEERS_SAMPLES_HPP
#define MOX_BENCH_PEERS_SAMPLES_HPP

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mox::peers {

// Nanoseconds of CLOCK_MONOTONIC, which all processes and cores share.
std::int64_t now_ns();

// Where and how a row was measured, for its line.
struct RowName {
    std::string row;
    int cores;
};

// The line of a row of single times, at least one: their median, 99th percentile and longest.
std::string line_of_samples(const RowName& name, std::vector<double> samples_ns);

// The line of a stream, whose events are not timed one by one: the time of one event of `events`
// that took `total_ns` until the last one was received, and the 99th percentile and the longest of
// what an event took in each of the blocks that the receiver timed.
std::string line_of_stream(const RowName& name, std::int64_t total_ns, std::size_t events,
                           std::vector<double> blocks_ns);

}  // namespace mox::peers

#endif
