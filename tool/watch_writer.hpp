// A thread that writes lines to the standard output as fast as its reader takes them, so that
// nobody else waits for a slow terminal.
#ifndef MOX_TOOL_WATCH_WRITER_HPP
#define MOX_TOOL_WATCH_WRITER_HPP

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "output.hpp"
#include "watch_ring.hpp"

namespace mox::tool {

class WatchWriter {
public:
    // Nobody else uses the output while this lives.
    explicit WatchWriter(Output& out);
    // Ends like finish; when the reader takes nothing at all, the process ends here with exit
    // code 1.
    ~WatchWriter();
    WatchWriter(const WatchWriter&) = delete;
    WatchWriter& operator=(const WatchWriter&) = delete;

    // As WatchRing::push; never waits.
    bool push(std::string_view text, guint32 events) { return ring_.push(text, events); }

    // Whether so much has been written that going on after a loss is worth while.
    bool has_caught_up() const { return ring_.used() < ring_.size() / 2; }

    // Whether writing has failed, or would: the reader has gone. Then nothing more is written.
    bool has_failed() const { return has_failed_.load() || out_.has_lost_reader(); }

    enum class Patience {
        while_it_moves,  // the reader may be slow, but takes something every 10 seconds
        short_time       // 2 seconds for all
    };
    // Writes what is there and a last text. True when all of it was written, or writing failed;
    // false when the reader takes it too slowly.
    bool finish(std::string last, Patience patience);

    // Events in texts that were written whole.
    guint64 events_written() const { return events_written_.load(); }

    // Throws what made the writing fail, if it did. After a finish that gave true.
    void rethrow() const;

private:
    void write_all();

    Output& out_;
    WatchRing ring_;
    std::atomic<guint64> events_written_{0};
    std::atomic<bool> has_failed_{false};
    std::exception_ptr failure_;  // the writing thread's until it has ended

    std::mutex mutex_;
    std::condition_variable has_moved_;
    // All under the mutex:
    std::string last_;
    guint64 batches_ = 0;
    bool has_ended_ = false;

    std::thread thread_;
};

}  // namespace mox::tool

#endif
