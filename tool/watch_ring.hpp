// Lines on their way from the thread that takes events to the thread that writes them.
//
// What holds: the memory is taken once. Lines are kept in their order; what finds no room is
// refused whole, and never waits.
#ifndef MOX_TOOL_WATCH_RING_HPP
#define MOX_TOOL_WATCH_RING_HPP

#include <glib.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace mox::tool {

class WatchRing {
public:
    explicit WatchRing(std::size_t bytes) : room_(bytes) {}

    // Appends a text that shows so many events. False when there is no room for it.
    bool push(std::string_view text, guint32 events);

    // Bytes that are taken, of all that there are.
    std::size_t used() const;
    std::size_t size() const { return room_.size(); }

    // What is pushed from now on is refused; what is there can still be taken.
    void close();

    struct Batch {
        std::string text;
        guint64 events = 0;
    };
    // Waits for texts and takes as many whole ones as there are, up to about most bytes, at least
    // one. batch: its memory is used again. False when the ring is closed and empty.
    bool take(Batch& batch, std::size_t most);

private:
    struct Head {
        guint32 length;
        guint32 events;
    };

    void copy_in(const void* bytes, std::size_t count);
    void copy_out(void* bytes, std::size_t count);

    mutable std::mutex mutex_;
    std::condition_variable has_text_;
    // All under the mutex:
    std::vector<char> room_;
    std::size_t first_ = 0;
    std::size_t used_ = 0;
    bool is_closed_ = false;
};

}  // namespace mox::tool

#endif
