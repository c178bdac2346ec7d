// Calling one thing over and over for a stretch of time that several threads or processes share,
// so that all of them are at it all the while.
#ifndef MOX_BENCH_SHARED_WINDOW_HPP
#define MOX_BENCH_SHARED_WINDOW_HPP

#include <atomic>

#include "clock.hpp"

namespace mox::bench {

// For one use; in memory that all callers share. The window opens when the last of them is there.
class SharedWindow {
public:
    explicit SharedWindow(int callers = 1) : missing_(callers) {}

    // Waits until all callers are there, then calls until the window ends. Returns the time of one
    // call, ns; 0 when a call failed or another caller did not come within some seconds.
    template <typename Call>
    double time_per_call(Call call) {
        constexpr int calls_between_looks = 100;
        if (!wait_for_all()) {
            return 0;
        }
        const gint64 start = now_ns();
        gint64 now = start;
        double calls = 0;
        do {
            for (int at = 0; at < calls_between_looks; ++at) {
                if (!call()) {
                    return 0;
                }
            }
            calls += calls_between_looks;
            now = now_ns();
        } while (now < end_ns_.load(std::memory_order_relaxed));
        return static_cast<double>(now - start) / calls;
    }

private:
    static constexpr gint64 kLengthNs = 50000000;
    static constexpr gint64 kLongestWaitNs = 5000000000;

    bool wait_for_all() {
        if (missing_.fetch_sub(1) == 1) {
            end_ns_.store(now_ns() + kLengthNs);
            return true;
        }
        const gint64 give_up_at = now_ns() + kLongestWaitNs;
        while (end_ns_.load() == 0) {
            if (now_ns() > give_up_at) {
                return false;
            }
        }
        return true;
    }

    std::atomic<int> missing_;
    std::atomic<gint64> end_ns_{0};
};

}  // namespace mox::bench

#endif
