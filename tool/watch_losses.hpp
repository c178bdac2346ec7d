// Events that were lost and have not been told of yet, and all of them.
#ifndef MOX_TOOL_WATCH_LOSSES_HPP
#define MOX_TOOL_WATCH_LOSSES_HPP

#include <glib.h>

#include <string>

#include "watch_lines.hpp"

namespace mox::tool {

class WatchLosses {
public:
    // Takes over how many messages were lost on the way to the queue so far.
    void note_queue(guint64 all) { in_queue_ = all; }
    void note_output() { ++at_output_; }

    // Lines for what has not been told; "" for nothing.
    std::string lines(const WatchLines& lines) const {
        std::string text;
        if (in_queue_ > told_in_queue_) {
            text += lines.lost(in_queue_ - told_in_queue_, LostAt::queue);
        }
        if (at_output_ > told_at_output_) {
            text += lines.lost(at_output_ - told_at_output_, LostAt::output);
        }
        return text;
    }
    void note_told() {
        told_in_queue_ = in_queue_;
        told_at_output_ = at_output_;
    }

    guint64 in_queue() const { return in_queue_; }
    guint64 at_output() const { return at_output_; }

private:
    guint64 in_queue_ = 0;
    guint64 told_in_queue_ = 0;
    guint64 at_output_ = 0;
    guint64 told_at_output_ = 0;
};

}  // namespace mox::tool

#endif
