// How long calls took, and the bound that no write may pass.
#ifndef MOX_TEST_RELIABILITY_WRITE_TIMES_HPP
#define MOX_TEST_RELIABILITY_WRITE_TIMES_HPP

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace mox::test {

// Microseconds.
struct Times {
    double median = 0;
    double most = 0;
};

inline constexpr double kMostForAWrite = 1e6;

class WriteTimes {
public:
    template <typename Work>
    void measure(Work&& work) {
        const auto begin = std::chrono::steady_clock::now();
        work();
        taken_.push_back(
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin)
                .count());
    }

    // Of all since the last call.
    Times take() {
        if (taken_.empty()) return {};
        std::sort(taken_.begin(), taken_.end());
        const Times times{taken_[taken_.size() / 2], taken_.back()};
        taken_.clear();
        return times;
    }

private:
    std::vector<double> taken_;
};

inline std::string text_of(const Times& times) {
    char text[96];
    std::snprintf(text, sizeof text, "median %.1f µs, most %.0f µs", times.median, times.most);
    return text;
}

}  // namespace mox::test

#endif
