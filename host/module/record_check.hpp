// Whether an object's record, as it came from the owner, leads nowhere but into the pool.
#ifndef MOXHOST_MODULE_RECORD_CHECK_HPP
#define MOXHOST_MODULE_RECORD_CHECK_HPP

#include <glib.h>

#include <cstdint>

namespace mox::host {

// Addresses that may be followed. Nothing outside is looked at.
struct PoolRange {
    std::uint64_t begin;
    std::uint64_t bytes;

    bool holds(std::uint64_t address, std::uint64_t length) const {
        return address >= begin && address - begin <= bytes && length <= bytes - (address - begin);
    }
    bool holds(gconstpointer pointer, std::uint64_t length) const {
        return holds(std::uint64_t{reinterpret_cast<std::uintptr_t>(pointer)}, length);
    }
};

// bytes: of an OBJECT_HEAD_S, at any address. Returns null for a record that the object store may
// follow: its names, those under which its events are sent, its bitmap, its properties and their
// values lie in the pool, its texts end there, its lists end after as many entries as it says.
// Otherwise what is wrong with it. The fields that are each process's own are not looked at. Takes
// no lock: what the owner exchanges meanwhile is read in the order in which that stays true.
const char* record_fault(gconstpointer bytes, const PoolRange& pool);

// Whether an object's bitmap of copies may lie at the pointer.
bool is_bitmap(const guint32* bitmap, const PoolRange& pool);

}  // namespace mox::host

#endif
