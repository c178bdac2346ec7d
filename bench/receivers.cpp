#include "receivers.hpp"

#include <ipcmsg.h>
#include <moxplat/osal.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "clock.hpp"
#include "cores.hpp"

namespace mox::bench {
namespace {

constexpr gint64 kLongestWaitNs = 10'000'000'000;

// A receiver's own cache line: one does not slow the others.
struct alignas(64) Mailbox {
    std::atomic<gint64> moment_ns;
};

// Shared by all processes.
struct Arrivals {
    alignas(64) std::atomic<guint32> missing;
    alignas(64) sem_t all_there;
    Mailbox mailboxes[kReceivers];
};

Arrivals* g_arrivals = nullptr;
gint32 g_queues[kReceivers] = {};
pid_t g_processes[kReceivers] = {};

[[noreturn]] void receive_for_ever(int receiver) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    static MOX_MSG_S message;
    Mailbox& mailbox = g_arrivals->mailboxes[receiver];
    while (osal_process_queue_receive(g_queues[receiver], &message, sizeof(message), 1) >= 0) {
        mailbox.moment_ns.store(now_ns(), std::memory_order_relaxed);
        if (g_arrivals->missing.fetch_sub(1) == 1) {
            sem_post(&g_arrivals->all_there);
        }
    }
    _exit(0);
}

bool wait_blocking(gint64 give_up_at_ns) {
    const timespec until{static_cast<time_t>(give_up_at_ns / 1000000000),
                         static_cast<long>(give_up_at_ns % 1000000000)};
    int result = 0;
    do {
        result = sem_clockwait(&g_arrivals->all_there, CLOCK_MONOTONIC, &until);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

bool wait_spinning(gint64 give_up_at_ns) {
    while (sem_trywait(&g_arrivals->all_there) != 0) {
        if (now_ns() > give_up_at_ns) {
            return false;
        }
    }
    return true;
}

}  // namespace

void start_receivers() {
    void* shared =
        mmap(nullptr, sizeof(Arrivals), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        std::perror("moxbench: no memory to share with the receivers");
        std::exit(1);
    }
    g_arrivals = new (shared) Arrivals{};
    sem_init(&g_arrivals->all_there, 1, 0);
    for (int receiver = 0; receiver < kReceivers; ++receiver) {
        if (osal_process_queue_create(&g_queues[receiver]) != 0) {
            std::fprintf(stderr, "moxbench: no queue for a receiver\n");
            std::exit(1);
        }
    }
    for (int receiver = 0; receiver < kReceivers; ++receiver) {
        g_processes[receiver] = fork();
        if (g_processes[receiver] == 0) {
            receive_for_ever(receiver);
        }
        if (g_processes[receiver] < 0) {
            std::perror("moxbench: no process for a receiver");
            std::exit(1);
        }
    }
}

void stop_receivers() {
    for (int receiver = 0; receiver < kReceivers; ++receiver) {
        osal_process_queue_delete(g_queues[receiver]);
        waitpid(g_processes[receiver], nullptr, 0);
    }
    osal_process_release_all();
}

gint32 receiver_queue(int receiver) {
    return g_queues[receiver];
}

bool place_receivers(int which_core) {
    return std::all_of(std::begin(g_processes), std::end(g_processes),
                       [=](pid_t process) { return pin(process, which_core); });
}

void expect_messages(guint32 count) {
    g_arrivals->missing.store(count);
}

gint64 wait_for_messages(Waiting waiting) {
    const gint64 give_up_at = now_ns() + kLongestWaitNs;
    const bool are_there =
        waiting == Waiting::kBlocking ? wait_blocking(give_up_at) : wait_spinning(give_up_at);
    if (!are_there) {
        return 0;
    }
    gint64 last = 0;
    for (const Mailbox& mailbox : g_arrivals->mailboxes) {
        last = std::max(last, mailbox.moment_ns.load(std::memory_order_relaxed));
    }
    return last;
}

guint32 missing_messages() {
    return g_arrivals->missing.load();
}

}  // namespace mox::bench
