// Ten processes that listen, each on a queue of its own, and note the moment at which each message
// arrives. A receiver waits in the queue layer and gives its core away meanwhile.
#ifndef MOX_BENCH_RECEIVERS_HPP
#define MOX_BENCH_RECEIVERS_HPP

#include <glib.h>

namespace mox::bench {

inline constexpr int kReceivers = 10;

// Forks the receivers and makes their queues. While this process has one thread, before the pool.
void start_receivers();
void stop_receivers();

gint32 receiver_queue(int receiver);

// Keeps all receivers on the first or second core. Returns false when there is no such core.
bool place_receivers(int which_core);

// Says how many messages are to come. Before the first of them is sent.
void expect_messages(guint32 count);

// How the sender waits for arrivals.
enum class Waiting {
    kBlocking,  // gives its core to the receivers
    kSpinning,  // has a core of its own
};

// Waits until all messages that were expected have arrived. Returns the moment of the last,
// CLOCK_MONOTONIC ns; 0 when they do not come within some seconds.
gint64 wait_for_messages(Waiting waiting);

// Messages that were expected and are not there (yet).
guint32 missing_messages();

}  // namespace mox::bench

#endif
