// What every peer's program is measured by: the same processes, pinnings, clocks and statistics.
//
//   int main(int argc, char** argv) { SomePeer peer; return mox::peers::run(argc, argv, peer); }
//
// A run is one row in one pinning. The frame forks the owner of a number and one process for each
// that reads it or listens to it, and prints the row's figures as one line of JSON. What holds: the
// owner runs on core 0, the others on core 0 too or all on core 1. Nobody spins in an event row:
// the owner sleeps until the last listener has the change, so that one core is enough for all.
// Every value is checked, no wait is endless, and no process outlives the frame's.
#ifndef MOX_BENCH_PEERS_ROUNDS_HPP
#define MOX_BENCH_PEERS_ROUNDS_HPP

#include <cstddef>
#include <cstdint>
#include <string>

namespace mox::peers {

inline constexpr int kMostListeners = 10;

// The number before the first change.
inline constexpr std::int32_t kFirstValue = 4711;

// Memory that the processes of a run share from the start: what a peer's sides tell each other
// before the measurement.
struct Exchange {
    std::int32_t word_of_listener[kMostListeners];
    std::size_t record_size;
    alignas(16) char record[4096];
};

// What a run asks of a peer.
struct Setting {
    std::string place;  // what the command line names for this peer, such as a server's socket
    int listeners;      // processes beside the owner
    bool is_read;       // the one listener is a reader, which is told of no change
};

// How one peer keeps a number that its owner changes. Each function throws std::exception when the
// peer fails. The order of calls is that of the declarations.
class Peer {
public:
    Peer() = default;
    virtual ~Peer() = default;
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // Before the fork, in the frame's process.
    virtual void prepare(const Setting& setting) = 0;

    // In the owner's process. meet_listeners: while they call open_listener. begin: when all of
    // them have returned from it.
    virtual void open_owner(Exchange& exchange) = 0;
    virtual void meet_listeners() {}
    virtual void begin(const Exchange&) {}

    // Changes the number and announces it to every listener, in the peer's ordinary way.
    virtual void change(std::int32_t value) = 0;

    // The same as one of many whose sending may be put off until flush.
    virtual void change_in_stream(std::int32_t value) { change(value); }
    virtual void flush() {}

    // Answers the reader until the process is ended. The default suits memory that is read in
    // place.
    virtual void answer();

    // In the process of listener number 0 and up; the only reader is number 0. The owner is open.
    virtual void open_listener(Exchange& exchange, int number) = 0;

    // Sleeps until the next change is there and returns its value.
    virtual std::int32_t next_change() = 0;

    // Reads the number from the owner's process or memory.
    virtual std::int32_t read() = 0;

    // How many reads one sample of the time takes: many where one is not much longer than a look at
    // the clock.
    virtual int reads_per_sample() const { return 1; }

    // After all processes have ended, in the frame's.
    virtual void clean() {}
};

// Runs the row that the command line names: ROW CORES [PLACE], ROW one of read, event_1, event_10
// and stream, CORES 1 or 2. Returns the exit status, 0 when the line is printed.
int run(int argc, char** argv, Peer& peer);

// Throws std::runtime_error(what).
[[noreturn]] void fail(const std::string& what);

// The same when is_good is false. It is called inside what is timed, so the text is put together
// only then: pass a literal, or ask first and call fail.
inline void require(bool is_good, const char* what) {
    if (!is_good) {
        fail(what);
    }
}

}  // namespace mox::peers

#endif
