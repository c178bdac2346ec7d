// How many messages did not reach each module's queue: a table in the pool in which every process
// counts.
//
// An entry belongs to a bitmap id. The owner writes its queue when a module joins or leaves; every
// process adds to its count. A message that fails while a module leaves may be counted for nobody,
// or for the next module with its id.
#ifndef MOXHOST_WIRE_LOSS_TABLE_HPP
#define MOXHOST_WIRE_LOSS_TABLE_HPP

#include <glib.h>

#include <atomic>

namespace mox::host::wire {

inline constexpr gint32 loss_entries = 128;  // bitmap ids; 0 is the owner's

struct LossEntry {
    std::atomic<gint32> queue_id;  // 0 for an entry that is not used
    guint32 reserved;              // keeps the count aligned on every word size
    alignas(8) std::atomic<guint64> lost;
};
static_assert(sizeof(LossEntry) == 16 && __atomic_always_lock_free(sizeof(guint64), nullptr));

struct LossTable {
    LossEntry entries[loss_entries];
};

// Counts from now on what this process fails to send. table: in the pool; null ends the counting.
void count_losses_in(LossTable* table);

}  // namespace mox::host::wire

#endif
