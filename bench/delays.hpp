// How the single delays of a row are distributed.
#ifndef MOX_BENCH_DELAYS_HPP
#define MOX_BENCH_DELAYS_HPP

#include <glib.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace mox::bench {

class Delays {
public:
    // pinning: "1" for all processes on one core, "2" for sender and receivers on a core each.
    void add(const std::string& row, const std::string& pinning, gint64 delay_ns) {
        samples_[{row, pinning}].push_back(delay_ns);
    }

    // Prints a table of median, 99th percentile and worst, if there are delays.
    void print();

    // Writes them with a histogram to a JSON file. Returns false, with errno set, when the file
    // cannot be written.
    bool write(const std::string& path);

private:
    std::map<std::pair<std::string, std::string>, std::vector<gint64>> samples_;
};

// The delays of this run.
Delays& delays();

}  // namespace mox::bench

#endif
