// The log of what was refused, and to whom. Who is refused may ask again as fast as it can: what is
// written stays bounded.
#ifndef MOXHOST_OWNER_REFUSAL_LOG_HPP
#define MOXHOST_OWNER_REFUSAL_LOG_HPP

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>

namespace mox::host {

// For any thread.
class RefusalLog {
public:
    static constexpr std::int64_t round_us = 60'000'000;
    static constexpr std::size_t most_lines = 16;  // of one who, in one round
    static constexpr std::size_t most_known = 64;  // of those that are told apart

    // Logs a line, unless the same one stands there since the beginning of this round already; at
    // the limit one line says that no more follow. who: whose lines are counted together.
    void add(const std::string& who, const std::string& line);

    // What is to be logged of a line at a time of one clock; "" for nothing.
    std::string judge(const std::string& who, const std::string& line, std::int64_t now_us);

private:
    struct Round {
        std::int64_t begin_us = 0;
        std::set<std::string> lines;
    };

    Round& round_of(const std::string& who, std::int64_t now_us);

    std::mutex mutex_;
    std::map<std::string, Round> rounds_;  // under the mutex
};

}  // namespace mox::host

#endif
