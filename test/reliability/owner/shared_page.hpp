// What the processes of the run tell each other without the system under test: a file that all of
// them map, because a mapping without one ends with the execution of a program.
//
// What holds: every field is atomic, and each has the one writer that its comment names, but where
// it says otherwise. Times are microseconds since the page was made, never 0.
#ifndef MOX_KILL_OWNER_SHARED_PAGE_HPP
#define MOX_KILL_OWNER_SHARED_PAGE_HPP

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

namespace mox::kill_owner {

inline constexpr std::size_t modules = 3;      // two that save, one that reads
inline constexpr std::size_t savers = 2;       // the first of them
inline constexpr std::size_t saved_kinds = 4;  // a number for each mode of saving, and a text

// Written by the module; by the first process when it has killed the module.
struct ModuleState {
    std::atomic<std::uint32_t> lives;          // joins
    std::atomic<std::uint32_t> restarts;       // as the library counts them
    std::atomic<std::uint32_t> joined_us;      // the last join
    std::atomic<std::uint32_t> noticed_us;     // when it was told last that its owner is gone
    std::atomic<std::uint32_t> kept_us;        // when it was asked last for what it wants kept
    std::atomic<std::uint32_t> executed_us;    // when its present life began
    std::atomic<std::uint32_t> is_lost;        // told of the loss, and not joined again
    std::atomic<std::uint32_t> checked;        // the life that has compared what was saved
    std::atomic<std::uint32_t> first_work_us;  // the first of these since the last join; 0: none
    std::atomic<std::uint32_t> worked_us;      // when it last did all of its work with success
    std::atomic<std::uint32_t> compared;       // values that were compared with what was saved
    std::atomic<std::uint32_t> alone;          // times it did all that it can do without an owner
    std::atomic<std::uint32_t> alone_us;       // the longest of these
};

// Written by the saver; by the first process before what was saved is given up.
struct SavedState {
    std::atomic<std::int32_t> attempted;  // the last number that a save was begun with
    std::atomic<std::int32_t> reported;   // the last one whose save was reported as done
};

// What the reader has seen of the present owner's pool and model.
struct Seen {
    std::atomic<std::uint32_t> blocks;       // of the pool, in use
    std::atomic<std::uint32_t> objects;      // bytes of the pool, of all objects
    std::atomic<std::uint32_t> classes;      // of all classes
    std::atomic<std::uint32_t> removed;      // objects that wait for their copies to go
    std::atomic<std::uint32_t> is_plugged;   // the board
    std::atomic<std::uint32_t> board_count;  // of its objects that are there
    std::atomic<std::int32_t> note;          // the valve's, as note_code gives it
    std::atomic<std::int32_t> goal;          // the valve's
};

// How far a look of the reader is.
enum class Look : std::uint32_t { none, wanted, done };

// How far a visitor is.
enum class Visit : std::uint32_t { none, ready, wanted, done };

struct SharedPage {
    std::int64_t made_ns;  // written once, before there is another process
    std::array<ModuleState, modules> module;
    std::array<std::array<SavedState, saved_kinds>, savers> saved;
    std::atomic<Look> look;               // by the first process and the reader, in turns
    Seen seen;                            // by the reader
    std::atomic<std::int32_t> valve_old;  // by a visitor: what it is to change, before
    std::atomic<std::int32_t> valve_new;  // by it: what it asks for
    std::atomic<std::uint32_t> is_quiet;  // by the first process: modules do nothing
    std::atomic<std::uint32_t> is_alone;  // by it: the owner was killed, the next has not begun
    std::atomic<Visit> visit;             // by the first process and the visitor, in turns
    std::atomic<std::uint32_t> grown;     // by visitors: how often the valve's text grew
    std::atomic<std::int32_t> queue;      // by a visitor: its queue
    std::atomic<std::uint32_t> kills;     // by the first process: modules that it killed
    std::atomic<std::uint32_t> refused;   // by all: reads of what one of these left half written
    std::atomic<std::uint32_t> failures;  // who counts it from 0 writes the text, and then 2
    std::array<char, 1000> failure;
};

// Makes the file with an empty page, and maps it.
void make_page(const std::string& path);

// Maps the file of a page that is there.
void map_page(const std::string& path);

// The page that was mapped.
SharedPage& page();

std::uint32_t now_us();

// Leaves word of a failure, of which the first is kept, and ends the process.
[[noreturn]] void fail_here(const std::string& text);

// The failure that another process left, or "".
std::string failure_of_others();

}  // namespace mox::kill_owner

#endif
