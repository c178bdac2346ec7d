// The count is cleared before the queue is published, so a reader never sees the one before.
#include "owner/lost_messages.hpp"

#include <shmem.h>

#include <new>

#include "owner/start_error.hpp"
#include "wire/loss_table.hpp"

namespace mox::host {
namespace {

wire::LossTable* table = nullptr;

// Null for an id that is none, and before the table is made.
wire::LossEntry* entry_of(gint32 bitmap_id) {
    const bool is_id = bitmap_id >= 0 && bitmap_id < wire::loss_entries;
    return table == nullptr || !is_id ? nullptr : &table->entries[bitmap_id];
}

}  // namespace

void make_loss_table() {
    gpointer const block = shm_alloc0(sizeof(wire::LossTable));
    if (block == nullptr) {
        throw StartError{
            "the pool has no room for the count of lost messages; set " SHM_SIZE_VARIABLE
            " to a larger number of MiB, up to 32"};
    }
    table = new (block) wire::LossTable{};
    wire::count_losses_in(table);
}

gpointer loss_table() {
    return table;
}

void count_lost_for(gint32 bitmap_id, gint32 queue_id) {
    if (wire::LossEntry* const entry = entry_of(bitmap_id)) {
        entry->lost.store(0, std::memory_order_relaxed);
        entry->queue_id.store(queue_id, std::memory_order_release);
    }
}

void end_count_for(gint32 bitmap_id) {
    if (wire::LossEntry* const entry = entry_of(bitmap_id)) {
        entry->queue_id.store(0, std::memory_order_release);
    }
}

gint32 counted_queue(gint32 bitmap_id) {
    const wire::LossEntry* const entry = entry_of(bitmap_id);
    return entry == nullptr ? 0 : entry->queue_id.load(std::memory_order_relaxed);
}

guint64 messages_lost(gint32 bitmap_id) {
    const wire::LossEntry* const entry = entry_of(bitmap_id);
    return entry == nullptr ? 0 : entry->lost.load(std::memory_order_relaxed);
}

}  // namespace mox::host
