// What a joined module can see of modules that are gone, and of the pool.
#ifndef MOX_KILLS_LEFTOVERS_HPP
#define MOX_KILLS_LEFTOVERS_HPP

#include <moxhost/operator.h>

#include <string>

namespace mox::kills {

// What is left of modules other than those that live through the run: a place in the member list, a
// queue, a bit in an object's bitmap, a lock of a dead thread, a removed object. "" for nothing.
std::string leftovers(MoxHostModule* module);

// The board that is plugged at the start comes anew, the other one goes; "" or the cause.
std::string put_boards_back(MoxHostModule* module);
std::string plug_both_boards(MoxHostModule* module);

// Compares the store with what the victims reported, and levels the page with it; "" or the fault.
std::string saved_fault();

// The use of the pool. Two are the same when blocks, and the bytes that were asked for, are; the
// bytes in use are a few more or less, as the places that the allocator found left a rest too small
// for a block or not.
MoxHostPoolInfo pool_of(MoxHostModule* module);
std::string pool_text(const MoxHostPoolInfo& pool);
bool is_same_use(const MoxHostPoolInfo& one, const MoxHostPoolInfo& other);

}  // namespace mox::kills

#endif
