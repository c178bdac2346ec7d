// How many property events this process has sent to each queue.
#ifndef MOXHOST_OWNER_SENT_EVENTS_HPP
#define MOXHOST_OWNER_SENT_EVENTS_HPP

#include <glib.h>

namespace mox::host {

// The events that the queue took since it was made or forgotten. Any thread.
guint64 events_sent(gint32 queue_id);

// Forgets a queue that is deleted: its id may come again. Any thread.
void forget_queue(gint32 queue_id);

}  // namespace mox::host

#endif
