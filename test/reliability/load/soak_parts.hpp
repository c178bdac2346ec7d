// The parts of the soak: four modules at work, and processes that join for a moment.
#ifndef MOX_TEST_RELIABILITY_SOAK_PARTS_HPP
#define MOX_TEST_RELIABILITY_SOAK_PARTS_HPP

#include <array>
#include <atomic>
#include <cstdint>

#include "part.hpp"

namespace mox::test {

inline constexpr std::size_t kWorkers = 4;

// What each of the four processes does in an hour of ordinary work: a write of a property ten times
// a second, with two reads each, and the rest in proportion to the writes.
inline constexpr std::uint64_t kWritesAnHour = 36000;
inline constexpr std::uint64_t kWritesAMultiRead = 5;
inline constexpr std::uint64_t kWritesARefresh = 40;     // of four processes: one a second
inline constexpr std::uint64_t kWritesAnOverride = 300;  // and its end
inline constexpr std::uint64_t kWritesASave = 600;
inline constexpr std::uint64_t kWritesAPlug = 1200;  // and an unplug, by two of the four
inline constexpr std::uint64_t kJoinsAnHour = 60;    // processes that join and leave, or die

// The longest text that is written.
inline constexpr std::size_t kLongestText = 600;

struct WorkerPage {
    std::atomic<std::uint64_t> wanted;  // writes, set by the program
    std::atomic<std::uint64_t> written;
    std::atomic<std::uint64_t> samples_wanted;
    std::atomic<std::uint64_t> samples;
    std::atomic<std::uint64_t> heap_bytes;  // in use, at the last sample
    std::atomic<std::uint64_t> reads;
    std::atomic<std::uint64_t> overrides;
    std::atomic<std::uint64_t> plugs;
    std::atomic<std::uint64_t> refreshes;
    std::atomic<std::uint64_t> saves;
    std::atomic<std::uint64_t> events;
};

struct JoinerPage {
    std::atomic<std::uint64_t> wanted;
    std::atomic<std::uint64_t> joined;
    std::atomic<bool> are_listening;
};

struct SoakPages {
    std::array<WorkerPage, kWorkers> workers;
    JoinerPage joiners;
    std::atomic<bool> is_over;
};

// The model: an object of each worker's, with hardware behind it, a formula, and two boards.
std::string soak_profile(const HostOwner& owner);

void play_worker(const HostOwner& owner, std::size_t number, SoakPages& pages);

// Forks the joining processes; joins nothing itself.
void play_joiners(const HostOwner& owner, SoakPages& pages);

}  // namespace mox::test

#endif
