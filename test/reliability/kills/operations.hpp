// What a victim does when it is killed: one kind of operation each.
#ifndef MOX_KILLS_OPERATIONS_HPP
#define MOX_KILLS_OPERATIONS_HPP

#include <moxhost/moxhost.h>

#include <random>
#include <string>
#include <vector>

namespace mox::kills {

// A victim's own state.
struct Victim {
    std::string run_dir;
    std::mt19937 random;
    MoxHostModule* module = nullptr;
    int messages = 0;
    GVariant* values[2] = {};  // written in turn, made beforehand
    unsigned turn = 0;
};

enum class Joins { first, by_itself };
enum class Repeats { no, yes };
enum class Boards { untouched, changed };
enum class Rehearsal { no, yes };

struct Operation {
    const char* name;
    // prepare: nullable. Both throw when the system refuses what it must do.
    void (*prepare)(Victim& victim);
    void (*act)(Victim& victim);
    Joins joins = Joins::first;
    Repeats repeats = Repeats::yes;
    Boards boards = Boards::untouched;
    // Whether it is done once before, so that symbols are bound and caches of the C library filled,
    // and its instructions are those of the work.
    Rehearsal rehearsal = Rehearsal::no;
};

// Those that are calls to the system and the owner, and those that are work in memory.
const std::vector<Operation>& calling_operations();
const std::vector<Operation>& memory_operations();

// Those that make sense at random moments only.
const std::vector<Operation>& waiting_operations();

}  // namespace mox::kills

#endif
