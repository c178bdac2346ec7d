// When each accessor was last read by the owner: a table in the pool that every module may read.
//
// The owner makes it before the first module joins and writes nothing but the stamps afterwards, so
// readers take no lock. The entries are sorted by name, bytewise.
#ifndef MOXHOST_WIRE_READ_STAMP_TABLE_HPP
#define MOXHOST_WIRE_READ_STAMP_TABLE_HPP

#include <glib.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>

namespace mox::host::wire {

struct ReadStamp {
    gchar accessor[32];
    alignas(8) std::atomic<gint64> read_ns;  // CLOCK_MONOTONIC; 0 before the first read
};
static_assert(__atomic_always_lock_free(sizeof(gint64), nullptr) && sizeof(ReadStamp) == 40);

// The entries follow it, so it is aligned as they are.
struct alignas(ReadStamp) ReadStampTable {
    guint32 count;
    guint32 reserved;
    ReadStamp* entries() { return reinterpret_cast<ReadStamp*>(this + 1); }
};
static_assert(sizeof(ReadStampTable) == 8);

// The clock of the stamps, and of what is compared with them.
inline gint64 now_ns() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return gint64{now.tv_sec} * 1000000000 + now.tv_nsec;
}

// The accessor's entry, or null.
inline ReadStamp* find_read_stamp(ReadStampTable* table, const gchar* accessor) {
    if (table == nullptr) {
        return nullptr;
    }
    ReadStamp* const end = table->entries() + table->count;
    ReadStamp* const found = std::lower_bound(table->entries(), end, accessor,
                                              [](const ReadStamp& entry, const gchar* name) {
                                                  return std::strcmp(entry.accessor, name) < 0;
                                              });
    return found != end && std::strcmp(found->accessor, accessor) == 0 ? found : nullptr;
}

}  // namespace mox::host::wire

#endif
