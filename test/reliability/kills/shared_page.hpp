// What the processes of the run tell each other without the system under test: a page that the
// first process maps before it makes the others.
//
// What holds: every field is atomic, and each has the one writer that its comment names.
#ifndef MOX_KILLS_SHARED_PAGE_HPP
#define MOX_KILLS_SHARED_PAGE_HPP

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace mox::kills {

// Something that was promised did not hold. The text says what, where and when.
class Failed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline constexpr int kSurvivors = 2;
inline constexpr int kSavedKinds = 4;  // three numbers, one for each mode, and a text

// Written by a survivor.
struct SurvivorState {
    std::atomic<std::int32_t> bitmap_id;
    std::atomic<std::uint32_t> rounds;       // rounds of all objects that are always there
    std::atomic<std::uint32_t> full_rounds;  // those in which the boards' objects were there, too
    std::atomic<std::uint32_t> events;
    std::atomic<std::uint32_t> half_written;  // reads that were refused after a kill
    std::atomic<const char*> object;          // what it is at, constant texts
    std::atomic<const char*> doing;
};

// Written by victims, read and levelled by the inspector.
struct SavedState {
    std::atomic<std::int32_t> attempted;  // the last value that a save was begun with
    std::atomic<std::int32_t> reported;   // the last one whose save was reported as done
};

struct SharedPage {
    SurvivorState survivors[kSurvivors];
    std::atomic<std::int32_t> inspector_id;     // written by the inspector
    std::atomic<std::uint32_t> killed_at_ms;    // written by the first process, just before a kill
    std::atomic<std::int32_t> is_victim_ready;  // cleared by the first process, set by the victim
    std::atomic<std::int32_t> is_traced;        // cleared and set by the first process
    SavedState saved[kSavedKinds];
    std::atomic<std::int32_t> failures;  // who counts it from 0 writes the text, and then 2
    char failure[1000];
};

// The page, mapped on the first call, which must come before the first fork.
SharedPage& shared_page();

// Milliseconds of a monotonic clock; never 0.
std::uint32_t now_ms();

// Leaves word of a failure, of which the first is kept, and ends the process.
[[noreturn]] void fail_here(const std::string& text);

// Throws Failed with the failure that another process left.
void throw_failure_of_others();

}  // namespace mox::kills

#endif
