// The parts of full_queues: listeners that count what they are told, and a writer.
#ifndef MOX_TEST_RELIABILITY_QUEUE_PARTS_HPP
#define MOX_TEST_RELIABILITY_QUEUE_PARTS_HPP

#include <array>
#include <atomic>
#include <cstdint>

#include "part.hpp"

namespace mox::test {

// The order in which they listen, and so the reverse of the order in which they are told.
enum Who : std::size_t { kEarlier, kStuck, kLater, kListeners };
inline const std::array<std::string, kListeners> kListenerNames = {"earlier", "stuck", "later"};

enum class Step : int { kWait, kListen, kLeave };

// What a listener does and has seen. The counts never go back.
struct ListenerPage {
    std::atomic<Step> step;
    std::atomic<bool> is_joined;
    std::atomic<bool> is_listening;
    std::atomic<bool> is_idle;  // set by the program: it does not run its loop
    std::atomic<std::uint64_t> events;
    std::atomic<std::uint64_t> notices;
    std::atomic<std::uint64_t> lost;  // as it is told itself
    std::atomic<bool> is_out_of_order;
};

// The writer writes until as many are written as are wanted; times are of the last such order.
struct WriterPage {
    std::atomic<std::uint64_t> wanted;
    std::atomic<std::uint64_t> written;
    std::atomic<bool> is_over;
    std::atomic<bool> wants_times;  // set by the program, cleared when they are there
    std::atomic<double> median;
    std::atomic<double> most;
};

struct QueuePages {
    std::array<ListenerPage, kListeners> listeners;
    WriterPage writer;
};

void play_listener(const HostOwner& owner, const std::string& name, ListenerPage& page);
void play_writer(const HostOwner& owner, WriterPage& page);

}  // namespace mox::test

#endif
