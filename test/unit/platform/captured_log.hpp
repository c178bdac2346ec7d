// What a library writes to GLib's log, caught for the length of a scope; nothing of it reaches the
// terminal.
#ifndef MOX_TEST_CAPTURED_LOG_HPP
#define MOX_TEST_CAPTURED_LOG_HPP

#include <glib.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

namespace mox::test {

// One at a time; calls may come from any thread.
class CapturedLog {
public:
    CapturedLog() : previous_{g_log_set_default_handler(&CapturedLog::record, this)} {}
    ~CapturedLog() { g_log_set_default_handler(previous_, nullptr); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    // Lines as "domain: text".
    std::vector<std::string> lines() const {
        const std::lock_guard lock{mutex_};
        return lines_;
    }

    // How many lines hold the text.
    gsize count(const std::string& text) const {
        const std::vector<std::string> all = lines();
        const auto holds = [&text](const std::string& line) {
            return line.find(text) != std::string::npos;
        };
        return static_cast<gsize>(std::count_if(all.begin(), all.end(), holds));
    }

private:
    static void record(const gchar* domain, GLogLevelFlags, const gchar* text, gpointer self) {
        auto* const log = static_cast<CapturedLog*>(self);
        const std::lock_guard lock{log->mutex_};
        log->lines_.push_back(std::string(domain == nullptr ? "" : domain) + ": " + text);
    }

    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
    GLogFunc previous_;
};

}  // namespace mox::test

#endif
