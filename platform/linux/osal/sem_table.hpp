// The sets that this process has attached, by set id: read without a lock, grown under the layer's
// mutex.
//
// What holds: an entry's id is published after its set, an entry is never removed, and a set is
// never detached, so a reader needs no protection and a thread that holds a slot's mutex never
// loses the memory under it.
#ifndef MOXPLAT_LINUX_OSAL_SEM_TABLE_HPP
#define MOXPLAT_LINUX_OSAL_SEM_TABLE_HPP

#include "sem_set.hpp"

namespace mox::osal {

constexpr guint32 table_size = 1024;  // a power of two
constexpr guint32 table_limit = table_size * 3 / 4;

struct TableEntry {
    std::atomic<gint32> key;  // complement of the set id, so that 0 means empty
    std::atomic<SemSet*> set;
};

extern TableEntry attached_sets[table_size];

// The set with this id, or null when this process has not attached it. The low bits of consecutive
// ids are consecutive, so the first probe nearly always hits.
inline SemSet* find_set(gint32 semid) {
    guint32 at = static_cast<guint32>(semid) % table_size;
    for (;;) {
        const gint32 key = attached_sets[at].key.load(std::memory_order_acquire);
        if (key == ~semid) [[likely]]
            return attached_sets[at].set.load(std::memory_order_acquire);
        if (key == 0) return nullptr;
        at = (at + 1) % table_size;
    }
}

// Attaches the set with this id, or finds it attached meanwhile; takes the layer's mutex.
// set: output. Returns OSAL_OK, OSAL_ERR_BAD_ID for anything that is not a live set of this word
// size, OSAL_ERR_LIMIT.
gint32 attach_set(gint32 semid, SemSet** set);

// Publishes a set that is already mapped; false when the table is full. The layer's mutex is held.
bool publish_set(gint32 semid, SemSet* set);

}  // namespace mox::osal

#endif
