// One watch: from the module's queue through the filter to the writing thread.
//
// What holds: the thread of the main loop takes every message at once, whatever the output does, so
// the queue is not full because a terminal is slow. Each message is shown, held back by a filter,
// or counted as lost.
#ifndef MOX_TOOL_WATCH_SESSION_HPP
#define MOX_TOOL_WATCH_SESSION_HPP

#include <array>
#include <exception>
#include <string>

#include "glib_owners.hpp"
#include "membership.hpp"
#include "watch_filter.hpp"
#include "watch_lines.hpp"
#include "watch_losses.hpp"
#include "watch_options.hpp"
#include "watch_writer.hpp"

namespace mox::tool {

enum class WatchEnd { none, counted, timed_out, interrupted, owner_gone, output_gone };

class WatchSession {
public:
    WatchSession(const Membership& owner, const WatchOptions& options, WatchFilter& filter,
                 const WatchLines& lines, WatchWriter& writer);
    ~WatchSession();
    WatchSession(const WatchSession&) = delete;
    WatchSession& operator=(const WatchSession&) = delete;

    // Listens, then shows events until something ends it. Throws Failed.
    WatchEnd run();

    guint64 shown_events() const { return shown_; }
    const WatchLosses& losses() const { return losses_; }
    // What is still to be told of losses.
    std::string last_lines() const { return losses_.lines(lines_); }

private:
    void listen();
    void attach_sources();
    void end(WatchEnd how);
    void receive(const MOX_MSG_S& message, gint64 arrival_ns);
    void receive_change(const MOX_MSG_S& message, gint64 time_us);
    void receive_added(const MOX_MSG_S& message, gint64 time_us);
    void receive_removed(const MOX_MSG_S& message, gint64 time_us);
    bool show(const std::string& line);
    void look_around();

    const Membership& owner_;
    const WatchOptions& options_;
    WatchFilter& filter_;
    const WatchLines& lines_;
    WatchWriter& writer_;
    WatchLosses losses_;
    guint64 shown_ = 0;
    bool is_behind_ = false;  // something was lost at the output, and it has not caught up
    WatchEnd end_ = WatchEnd::none;
    std::exception_ptr problem_;
    LoopPtr loop_;
    std::array<guint, 5> sources_{};
};

}  // namespace mox::tool

#endif
