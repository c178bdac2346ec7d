// The owner and the listeners meet over one shared mapping: semaphores to sleep on, the moment at
// which each listener had a change, and the times that the measuring process notes.
#include "rounds.hpp"

#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

#include "samples.hpp"

namespace mox::peers {
namespace {

constexpr unsigned kRunSeconds = 50;
constexpr int kWaitSeconds = 20;
constexpr int kWarmUp = 200;
constexpr int kReadSamples = 2000;
constexpr int kStreamEvents = 100000;
constexpr int kStreamBlock = 200;  // divides it
constexpr int kMostSamples = 4000;

struct Row {
    const char* name;
    int listeners;
    int samples;  // measured reads, changes or, in a stream, events
};

constexpr Row kRows[] = {{"read", 1, kReadSamples},
                         {"event_1", 1, 3000},
                         {"event_10", kMostListeners, 1000},
                         {"stream", 1, kStreamEvents}};

struct Shared {
    Exchange exchange;
    sem_t owner_is_open;  // posted once for each listener
    sem_t listener_is_open;
    sem_t all_have_it;  // posted by the last listener that got a change
    std::atomic<int> missing;
    std::atomic<std::int64_t> arrival_ns[kMostListeners];
    int sample_count;
    double samples_ns[kMostSamples];
    std::int64_t stream_ns;
};

// One run, as all of its processes know it.
struct Run {
    Peer& peer;
    Row row;
    int cores;
    Shared& shared;

    bool is(const char* name) const { return std::strcmp(row.name, name) == 0; }
};

void pin_to(int core) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<unsigned>(core), &cores);
    if (sched_setaffinity(0, sizeof(cores), &cores) != 0) {
        fail("core " + std::to_string(core) + " cannot be had: " + std::strerror(errno));
    }
}

void wait_for(sem_t& semaphore, const char* what) {
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += kWaitSeconds;
    while (sem_timedwait(&semaphore, &until) != 0) {
        if (errno != EINTR) fail(std::string("waited in vain for ") + what);
    }
}

void note_sample(Shared& shared, double ns) {
    shared.samples_ns[shared.sample_count++] = ns;
}

// Changes number 1 to count, each of which is with all listeners before the next one.
void measure_changes(const Run& run) {
    Shared& shared = run.shared;
    for (int number = 1; number <= kWarmUp + run.row.samples; ++number) {
        shared.missing.store(run.row.listeners);
        const std::int64_t start = now_ns();
        run.peer.change(number);
        wait_for(shared.all_have_it, "the listeners to have a change");
        std::int64_t last = 0;
        for (int at = 0; at < run.row.listeners; ++at) {
            last = std::max(last, shared.arrival_ns[at].load());
        }
        if (number > kWarmUp) {
            note_sample(shared, static_cast<double>(last - start));
        }
    }
}

void measure_stream(const Run& run) {
    run.shared.missing.store(1);
    const std::int64_t start = now_ns();
    for (int number = 1; number <= run.row.samples; ++number) {
        run.peer.change_in_stream(number);
    }
    run.peer.flush();
    wait_for(run.shared.all_have_it, "the listener to have the whole stream");
    run.shared.stream_ns = run.shared.arrival_ns[0].load() - start;
}

void play_owner(const Run& run) {
    pin_to(0);
    run.peer.open_owner(run.shared.exchange);
    for (int at = 0; at < run.row.listeners; ++at) {
        sem_post(&run.shared.owner_is_open);
    }
    run.peer.meet_listeners();
    for (int at = 0; at < run.row.listeners; ++at) {
        wait_for(run.shared.listener_is_open, "a listener to connect");
    }
    run.peer.begin(run.shared.exchange);
    if (run.is("read")) {
        run.peer.answer();
    } else if (run.is("stream")) {
        measure_stream(run);
    } else {
        measure_changes(run);
    }
}

void read_checked(Peer& peer) {
    const std::int32_t value = peer.read();
    if (value != kFirstValue) fail("read " + std::to_string(value) + " instead of the number");
}

void measure_reads(const Run& run) {
    const int reads = run.peer.reads_per_sample();
    for (int number = 0; number < kWarmUp + run.row.samples; ++number) {
        const std::int64_t start = now_ns();
        for (int at = 0; at < reads; ++at) {
            read_checked(run.peer);
        }
        const std::int64_t end = now_ns();
        if (number >= kWarmUp) {
            note_sample(run.shared, static_cast<double>(end - start) / reads);
        }
    }
}

// Tells the owner that this listener has what was waited for.
void tell_arrival(Shared& shared, int number, std::int64_t moment_ns) {
    shared.arrival_ns[number].store(moment_ns);
    if (shared.missing.fetch_sub(1) == 1) {
        sem_post(&shared.all_have_it);
    }
}

// Every change must come, once and in order: it carries its number.
void take_change(Peer& peer, std::int32_t expected) {
    const std::int32_t value = peer.next_change();
    if (value != expected) {
        fail("change " + std::to_string(value) + " came instead of " + std::to_string(expected));
    }
}

void listen(const Run& run, int number) {
    for (std::int32_t expected = 1; expected <= kWarmUp + run.row.samples; ++expected) {
        take_change(run.peer, expected);
        tell_arrival(run.shared, number, now_ns());
    }
}

// Looks at the clock once in a block of events.
void listen_to_stream(const Run& run) {
    std::int64_t block_start = 0;
    for (std::int32_t expected = 1; expected <= run.row.samples; ++expected) {
        take_change(run.peer, expected);
        if (expected % kStreamBlock != 0) continue;
        const std::int64_t moment = now_ns();
        if (block_start != 0) {
            note_sample(run.shared, static_cast<double>(moment - block_start) / kStreamBlock);
        }
        block_start = moment;
    }
    tell_arrival(run.shared, 0, block_start);
}

void play_listener(const Run& run, int number) {
    pin_to(run.cores - 1);
    wait_for(run.shared.owner_is_open, "the owner");
    run.peer.open_listener(run.shared.exchange, number);
    sem_post(&run.shared.listener_is_open);
    if (run.is("read")) {
        measure_reads(run);
    } else if (run.is("stream")) {
        listen_to_stream(run);
    } else {
        listen(run, number);
    }
}

// Forks a process that plays a part and ends with status 0, or 1 and a message. Standard output is
// for the row's line alone, whatever a peer's library prints.
pid_t start(const std::string& part, const std::function<void()>& play) {
    const pid_t frame = getpid();
    const pid_t process = fork();
    require(process >= 0, "no process for a part of the run");
    if (process != 0) {
        return process;
    }
    int status = 1;
    try {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(STDERR_FILENO, STDOUT_FILENO);
        require(getppid() == frame, "the frame is gone");
        alarm(kRunSeconds);
        play();
        status = 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", part.c_str(), error.what());
    }
    std::fflush(nullptr);
    _exit(status);
}

// Ends the processes that still run and removes them from the list.
void end_all(std::vector<pid_t>& processes) {
    for (const pid_t process : processes) {
        kill(process, SIGKILL);
    }
    for (const pid_t process : processes) {
        waitpid(process, nullptr, 0);
    }
    processes.clear();
}

// Waits until the parts that end by themselves have: all of them, but for the owner in a row of
// reads.
void wait_for_parts(const Run& run, std::vector<pid_t>& processes) {
    const pid_t answering = run.is("read") ? processes.front() : -1;
    const std::size_t left = answering == -1 ? 0 : 1;
    while (processes.size() > left) {
        int status = 0;
        const pid_t ended = waitpid(-1, &status, 0);
        require(ended > 0, "no part of the run is left to wait for");
        std::erase(processes, ended);
        require(ended != answering, "the owner ended before the reader");
        if (WIFSIGNALED(status)) {
            fail("a part of the run was ended by signal " + std::to_string(WTERMSIG(status)));
        }
        require(WEXITSTATUS(status) == 0, "a part of the run failed");
    }
}

void play_all(const Run& run) {
    std::vector<pid_t> processes;
    try {
        processes.push_back(start("owner", [&] { play_owner(run); }));
        for (int number = 0; number < run.row.listeners; ++number) {
            processes.push_back(start("listener " + std::to_string(number),
                                      [&, number] { play_listener(run, number); }));
        }
        wait_for_parts(run, processes);
    } catch (...) {
        end_all(processes);
        throw;
    }
    end_all(processes);
}

Shared& make_shared_memory() {
    void* memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    require(memory != MAP_FAILED, "no memory for the run");
    auto* shared = new (memory) Shared{};
    for (sem_t* semaphore :
         {&shared->owner_is_open, &shared->listener_is_open, &shared->all_have_it}) {
        require(sem_init(semaphore, 1, 0) == 0, "no semaphore for the run");
    }
    return *shared;
}

std::string line_of(const Run& run) {
    const RowName name{run.row.name, run.cores};
    const Shared& shared = run.shared;
    std::vector<double> samples(shared.samples_ns, shared.samples_ns + shared.sample_count);
    if (run.is("stream")) {
        return line_of_stream(name, shared.stream_ns, static_cast<std::size_t>(run.row.samples),
                              std::move(samples));
    }
    require(shared.sample_count == run.row.samples, "not every sample was taken");
    return line_of_samples(name, std::move(samples));
}

const Row* find_row(const char* name) {
    const auto* found = std::find_if(std::begin(kRows), std::end(kRows), [name](const Row& row) {
        return std::strcmp(row.name, name) == 0;
    });
    return found == std::end(kRows) ? nullptr : found;
}

}  // namespace

void Peer::answer() {
    for (;;) {
        pause();
    }
}

void fail(const std::string& what) {
    throw std::runtime_error(what);
}

int run(int argc, char** argv, Peer& peer) {
    const Row* row = argc < 3 || argc > 4 ? nullptr : find_row(argv[1]);
    const std::string cores = row == nullptr ? "" : argv[2];
    if (cores != "1" && cores != "2") {
        std::fprintf(stderr, "usage: %s read|event_1|event_10|stream 1|2 [PLACE]\n", argv[0]);
        return 2;
    }
    int status = 1;
    try {
        const Run planned{peer, *row, cores == "1" ? 1 : 2, make_shared_memory()};
        peer.prepare({argc == 4 ? argv[3] : "", row->listeners, planned.is("read")});
        play_all(planned);
        std::printf("%s\n", line_of(planned).c_str());
        status = 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s %s %s: %s\n", argv[0], argv[1], argv[2], error.what());
    }
    peer.clean();
    return status;
}

}  // namespace mox::peers
