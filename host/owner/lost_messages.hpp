// The owner's side of the count of messages that did not reach their queues.
#ifndef MOXHOST_OWNER_LOST_MESSAGES_HPP
#define MOXHOST_OWNER_LOST_MESSAGES_HPP

#include <glib.h>

namespace mox::host {

// Makes the table in the pool and has this process count in it. Once, after the pool is made and
// before the first module joins. Throws a StartError when the pool has no room.
void make_loss_table();

// The table's address in the pool; null before it is made.
gpointer loss_table();

// Begins to count anew for a queue, or ends that. bitmap_id: 0 (the owner) to 127.
void count_lost_for(gint32 bitmap_id, gint32 queue_id);
void end_count_for(gint32 bitmap_id);

// The queue that is counted for; 0 for none.
gint32 counted_queue(gint32 bitmap_id);

// Messages of any process that did not reach the queue of the id since its count began.
guint64 messages_lost(gint32 bitmap_id);

}  // namespace mox::host

#endif
