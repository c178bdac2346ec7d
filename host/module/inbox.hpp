// A module's queue, from the blocking receive of a reader thread to call-backs in a main context.
#ifndef MOXHOST_MODULE_INBOX_HPP
#define MOXHOST_MODULE_INBOX_HPP

#include <ipcmsg.h>

#include <functional>
#include <memory>
#include <thread>

namespace mox::host {

// Messages are handed over in the order in which they came, none is dropped but malformed ones
// (logged). When the consumer is far behind, the reader stops taking messages out of the queue.
class Inbox {
public:
    using MessageFunc = std::function<void(const MOX_MSG_S& message, gint64 arrival_ns)>;
    using LostFunc = std::function<void()>;

    explicit Inbox(gint32 queue_id);
    // Ends the reader, also when the queue is gone or full. May run inside a call-back.
    ~Inbox();
    Inbox(const Inbox&) = delete;
    Inbox& operator=(const Inbox&) = delete;

    // Both run in the thread-default main context of the latest of these calls; null stops,
    // messages are kept then.
    void set_message_func(MessageFunc func);
    // Called once, behind the last message, after note_lost() or when the queue is removed.
    void set_lost_func(LostFunc func);

    // Notes that the owner is gone. Any thread.
    void note_lost();

    // Whether there is a lost function that was not told, or has not returned yet. Any thread.
    bool owes_lost() const;

private:
    struct State;
    static void read(const std::shared_ptr<State>& state);
    static gboolean deliver(gint wake_up, GIOCondition condition, gpointer data);
    void attach();
    void detach();

    std::shared_ptr<State> state_;
    GSource* source_ = nullptr;
    std::thread reader_;
};

}  // namespace mox::host

#endif
