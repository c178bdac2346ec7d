#include "delays.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace mox::bench {
namespace {

// Each bucket of the histogram is a quarter wider than the one before.
constexpr double kFirstUpperNs = 100;
constexpr double kWiden = 1.25;

gint64 percentile(const std::vector<gint64>& sorted, double share) {
    const double at = std::floor(share * static_cast<double>(sorted.size()));
    return sorted[std::min(static_cast<gsize>(at), sorted.size() - 1)];
}

// From the first bucket that holds something to the last.
void write_histogram(FILE* file, const std::vector<gint64>& sorted) {
    double upper = kFirstUpperNs;
    while (static_cast<double>(sorted.front()) > upper) {
        upper *= kWiden;
    }
    const char* separator = "";
    for (auto from = sorted.begin(); from != sorted.end(); upper *= kWiden) {
        const auto limit = static_cast<gint64>(upper);
        const auto to = std::upper_bound(from, sorted.end(), limit);
        std::fprintf(file, "%s[%lld, %lld]", separator, static_cast<long long>(limit),
                     static_cast<long long>(to - from));
        separator = ", ";
        from = to;
    }
}

}  // namespace

void Delays::print() {
    if (samples_.empty()) {
        return;
    }
    std::printf("\n| delay, change to arrival | cores | samples | median | 99th | worst |\n");
    std::printf("|---|---|---|---|---|---|\n");
    for (auto& [key, samples] : samples_) {
        std::sort(samples.begin(), samples.end());
        std::printf("| %s | %s | %zu | %.1f us | %.1f us | %.1f us |\n", key.first.c_str(),
                    key.second.c_str(), samples.size(),
                    static_cast<double>(percentile(samples, 0.5)) * 1e-3,
                    static_cast<double>(percentile(samples, 0.99)) * 1e-3,
                    static_cast<double>(samples.back()) * 1e-3);
    }
}

bool Delays::write(const std::string& path) {
    FILE* file = std::fopen(path.c_str(), "we");
    if (file == nullptr) {
        return false;
    }
    std::fprintf(file, "{\"rows\": [");
    const char* separator = "\n";
    for (auto& [key, samples] : samples_) {
        std::sort(samples.begin(), samples.end());
        std::fprintf(file,
                     "%s  {\"row\": \"%s\", \"pinning\": \"%s\", \"samples\": %zu,"
                     " \"median_ns\": %lld, \"p99_ns\": %lld, \"worst_ns\": %lld,"
                     " \"histogram\": [",
                     separator, key.first.c_str(), key.second.c_str(), samples.size(),
                     static_cast<long long>(percentile(samples, 0.5)),
                     static_cast<long long>(percentile(samples, 0.99)),
                     static_cast<long long>(samples.back()));
        write_histogram(file, samples);
        std::fprintf(file, "]}");
        separator = ",\n";
    }
    std::fprintf(file, "\n]}\n");
    const bool is_whole = std::ferror(file) == 0;
    return std::fclose(file) == 0 && is_whole;
}

Delays& delays() {
    static Delays all;
    return all;
}

}  // namespace mox::bench
