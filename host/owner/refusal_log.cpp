// The mutex is not held while a line is written.
#include "owner/refusal_log.hpp"

#include <glib.h>
#include <pub.h>

namespace mox::host {

void RefusalLog::add(const std::string& who, const std::string& line) {
    const std::string text = judge(who, line, g_get_monotonic_time());
    if (!text.empty()) {
        pub_debug_print(MX_DBG_ERR, "refused: %s.\n", text.c_str());
    }
}

std::string RefusalLog::judge(const std::string& who, const std::string& line,
                              std::int64_t now_us) {
    const std::lock_guard lock(mutex_);
    Round& round = round_of(who, now_us);
    if (round.lines.size() > most_lines || !round.lines.insert(line).second) {
        return {};
    }
    return round.lines.size() <= most_lines
               ? line
               : who + " goes on asking for other things; for a minute nothing more is told of it";
}

RefusalLog::Round& RefusalLog::round_of(const std::string& who, std::int64_t now_us) {
    const auto is_over = [now_us](const Round& round) {
        return now_us - round.begin_us >= round_us;
    };
    if (rounds_.count(who) == 0 && rounds_.size() >= most_known) {
        std::erase_if(rounds_, [&](const auto& entry) { return is_over(entry.second); });
    }
    // Names beyond that number share one count.
    const bool is_known = rounds_.count(who) != 0 || rounds_.size() < most_known;
    const auto [found, added] = rounds_.try_emplace(is_known ? who : std::string());
    if (added || is_over(found->second)) {
        found->second = {now_us, {}};
    }
    return found->second;
}

}  // namespace mox::host
