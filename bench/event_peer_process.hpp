// The receiving process of the event benchmarks: it notes the moment at which each message arrives.
#ifndef MOX_BENCH_EVENT_PEER_PROCESS_HPP
#define MOX_BENCH_EVENT_PEER_PROCESS_HPP

#include <glib.h>

namespace mox::bench {

// Forks the receiver and makes its queue. While this process has one thread, before the pool.
void start_event_peer();
void stop_event_peer();

// The receiver's queue.
gint32 event_peer_queue();

// Waits until the receiver has taken n messages since its start. Returns the moment of the last,
// CLOCK_MONOTONIC ns; 0 when it did not come within a second.
gint64 wait_for_arrival(guint32 n);

gint64 now_ns();

}  // namespace mox::bench

#endif
