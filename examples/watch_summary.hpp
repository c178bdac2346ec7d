// The closing summary of watch_machine, and whether what it tells is good.
#ifndef MOX_EXAMPLES_WATCH_SUMMARY_HPP
#define MOX_EXAMPLES_WATCH_SUMMARY_HPP

#include <glib.h>

#include <string>
#include <vector>

#include "change_log.hpp"
#include "source_check.hpp"
#include "watched_objects.hpp"

namespace mox::examples {

// The count of events on both sides, taken when nothing was under way.
struct EventCount {
    gint64 sent = 0;  // by the owner, to this process
    gint64 received = 0;
    std::vector<std::string> differing;  // properties whose last event is not what the pool holds
};

struct PoolUsage {
    guint32 total = 0;  // bytes
    guint32 used = 0;
};

// Prints the summary. Returns what is wrong, one line each; empty when all is well.
std::vector<std::string> print_summary(const WatchedModel& model, const ChangeLog& log,
                                       const EventCount& events, const PoolUsage& pool,
                                       const SourceCheckResult& check);

}  // namespace mox::examples

#endif
