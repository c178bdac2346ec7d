// The library's log lines. What is said while the store's mutex is taken is kept until it is given
// back: a log may be slow, and a handler may call the store.
#ifndef MOXPLAT_LINUX_PERSIST_WARNING_HPP
#define MOXPLAT_LINUX_PERSIST_WARNING_HPP

#include <glib.h>

#include <string>
#include <vector>

namespace mox::persist {

// Logs a line at warning level: at once, or at the end of this thread's KeptWarnings.
void warn(const gchar* format, ...) G_GNUC_PRINTF(1, 2);

// Keeps this thread's lines for the length of a scope, and writes them at its end. Made before a
// mutex is taken, one at a time in a thread.
class KeptWarnings {
public:
    KeptWarnings();
    ~KeptWarnings();
    KeptWarnings(const KeptWarnings&) = delete;
    KeptWarnings& operator=(const KeptWarnings&) = delete;

    void keep(std::string line) { lines_.push_back(std::move(line)); }

private:
    std::vector<std::string> lines_;
};

}  // namespace mox::persist

#endif
