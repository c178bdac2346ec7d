// Reader thread and consumer share the backlog under one mutex; an eventfd wakes the main context.
// Everything shared is in State, which lives as long as either uses it: a call-back may destroy the
// inbox that calls it.
#include "module/inbox.hpp"

#include <glib-unix.h>
#include <moxplat/osal.h>
#include <pub.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <vector>

#include "module/message_check.hpp"
#include "wire/read_stamp_table.hpp"

namespace mox::host {
namespace {

constexpr std::size_t most_waiting = 1024;  // messages in the backlog
constexpr int most_in_a_row = 64;           // call-backs before other sources get their turn
constexpr std::size_t receive_room = 65540;
constexpr int wait_for_message = 1;

struct Waiting {
    std::vector<guint8> bytes;
    gint64 arrival_ns;
};

}  // namespace

struct Inbox::State {
    explicit State(gint32 queue)
        : queue_id(queue), wake_up(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~State() { close(wake_up); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    const gint32 queue_id;
    const int wake_up;
    std::atomic<bool> owes_lost = false;

    // Used in the consumer's thread only:
    MessageFunc on_message;
    LostFunc on_lost;
    MOX_MSG_S current = {};

    std::mutex mutex;
    std::condition_variable has_room;
    // All under the mutex:
    std::deque<Waiting> backlog;
    bool is_lost = false;
    bool is_ending = false;

    void wake() const {
        const std::uint64_t one = 1;
        // Full means that the consumer is awake already.
        [[maybe_unused]] const ssize_t written = write(wake_up, &one, sizeof one);
    }

    bool ends() {
        const std::lock_guard lock(mutex);
        return is_ending;
    }

    void lose() {
        {
            const std::lock_guard lock(mutex);
            is_lost = true;
        }
        wake();
    }

    // Waits for room, then appends. False when the inbox ends.
    bool push(Waiting message) {
        std::unique_lock lock(mutex);
        has_room.wait(lock, [this] { return is_ending || backlog.size() < most_waiting; });
        if (is_ending) {
            return false;
        }
        backlog.push_back(std::move(message));
        lock.unlock();
        wake();
        return true;
    }

    // Hands the oldest message over; false when there is none, or nobody wants one.
    bool hand_over_one() {
        Waiting message;
        {
            const std::lock_guard lock(mutex);
            if (is_ending || backlog.empty() || !on_message) {
                return false;
            }
            message = std::move(backlog.front());
            backlog.pop_front();
        }
        has_room.notify_one();
        std::memcpy(&current, message.bytes.data(), message.bytes.size());
        const MessageFunc func = on_message;  // it may replace itself
        func(current, message.arrival_ns);
        return true;
    }

    void tell_lost() {
        {
            const std::lock_guard lock(mutex);
            const bool is_last = backlog.empty() || !on_message;
            if (is_ending || !is_lost || !is_last || !on_lost) {
                return;
            }
        }
        const LostFunc func = std::move(on_lost);
        on_lost = nullptr;
        func();
        owes_lost = on_lost != nullptr;
    }
};

Inbox::Inbox(gint32 queue_id)
    : state_(std::make_shared<State>(queue_id)), reader_([state = state_] { read(state); }) {}

Inbox::~Inbox() {
    detach();
    {
        const std::lock_guard lock(state_->mutex);
        state_->is_ending = true;
    }
    state_->has_room.notify_one();
    // Any message ends the blocking receive. A queue that is full has one already, one that is gone
    // does not block.
    constexpr gint32 wake_up_message = 1;
    osal_process_queue_send(state_->queue_id, &wake_up_message, sizeof wake_up_message);
    reader_.join();
}

void Inbox::set_message_func(MessageFunc func) {
    state_->on_message = std::move(func);
    attach();
}

void Inbox::set_lost_func(LostFunc func) {
    state_->owes_lost = func != nullptr;
    state_->on_lost = std::move(func);
    attach();
}

void Inbox::note_lost() {
    state_->lose();
}

bool Inbox::owes_lost() const {
    return state_->owes_lost;
}

void Inbox::attach() {
    detach();
    if (!state_->on_message && !state_->on_lost) {
        return;
    }
    source_ = g_unix_fd_source_new(state_->wake_up, G_IO_IN);
    g_source_set_callback(
        source_, G_SOURCE_FUNC(deliver), new std::shared_ptr<State>(state_),
        [](gpointer state) { delete static_cast<std::shared_ptr<State>*>(state); });
    g_source_attach(source_, g_main_context_get_thread_default());
    // What came while nobody was attached.
    state_->wake();
}

void Inbox::detach() {
    if (source_ != nullptr) {
        g_source_destroy(source_);
        g_source_unref(source_);
        source_ = nullptr;
    }
}

gboolean Inbox::deliver(gint wake_up, GIOCondition, gpointer data) {
    const std::shared_ptr<State> state = *static_cast<std::shared_ptr<State>*>(data);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(wake_up, &count, sizeof count);
    for (int handed_over = 0; state->hand_over_one();) {
        if (++handed_over == most_in_a_row) {
            state->wake();
            return G_SOURCE_CONTINUE;
        }
    }
    state->tell_lost();
    return G_SOURCE_CONTINUE;
}

void Inbox::read(const std::shared_ptr<State>& state) {
    std::vector<guint8> buffer(receive_room);
    while (!state->ends()) {
        const gint32 got = osal_process_queue_receive(state->queue_id, buffer.data(), buffer.size(),
                                                      wait_for_message);
        const gint64 arrival_ns = wire::now_ns();
        if (state->ends()) {
            return;
        }
        if (got < 0) {
            if (got != OSAL_ERR_BAD_ID) {
                pub_debug_print(MX_DBG_ERR, "queue %d cannot be read: %s (%d).\n", state->queue_id,
                                osal_error_text(got), got);
            }
            state->lose();
            return;
        }
        const auto size = static_cast<gsize>(got);
        const char* const fault = message_fault(buffer.data(), size);
        if (fault != nullptr) {
            pub_debug_print(MX_DBG_ERR, "message of %d bytes in queue %d dropped: %s.\n", got,
                            state->queue_id, fault);
        } else if (!state->push({{buffer.data(), buffer.data() + size}, arrival_ns})) {
            return;
        }
    }
}

}  // namespace mox::host
