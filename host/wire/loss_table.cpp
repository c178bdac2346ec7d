#include "wire/loss_table.hpp"

#include <ipcmsg.h>

namespace mox::host::wire {
namespace {

std::atomic<LossTable*> counted_in{nullptr};

void count_loss(gint32 queue_id, guint32, gint32) {
    LossTable* const table = counted_in.load(std::memory_order_acquire);
    if (table == nullptr || queue_id <= 0) {
        return;
    }
    for (LossEntry& entry : table->entries) {
        if (entry.queue_id.load(std::memory_order_acquire) == queue_id) {
            entry.lost.fetch_add(1, std::memory_order_relaxed);
            return;
        }
    }
}

}  // namespace

void count_losses_in(LossTable* table) {
    counted_in.store(table, std::memory_order_release);
    ipc_msg_set_lost_func(table == nullptr ? nullptr : count_loss);
}

}  // namespace mox::host::wire
