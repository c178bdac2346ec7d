// A limit is only ever raised. What cannot be raised leaves the queues working for the messages
// that fit.
#include "queue_limits.hpp"

#include <glib.h>
#include <moxplat/osal.h>
#include <cstdio>
#include <memory>

namespace mox::osal {

namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

struct Limit {
    const char* name;  // as sysctl names it
    const char* path;
    long needed;
    const char* consequence;
    bool complained;
};

// msgmax counts the bytes behind the message type. A queue of this room holds some 1,700 small
// events or 31 of the largest messages, so that a receiver may pause for a moment.
constinit Limit limits[] = {
    {"kernel.msgmax", "/proc/sys/kernel/msgmax", OSAL_QUEUE_MESSAGE_MAX - 4,
     "larger messages are refused", false},
    {"kernel.msgmnb", "/proc/sys/kernel/msgmnb", OSAL_QUEUE_ROOM, "a queue is full early", false},
};

// The limit's value, or -1 when it cannot be read.
long read_limit(const Limit& limit) {
    const File file{std::fopen(limit.path, "re"), std::fclose};
    long value = -1;
    if (!file || std::fscanf(file.get(), "%ld", &value) != 1) return -1;
    return value;
}

void write_limit(const Limit& limit) {
    // A refusal shows when the value is read again.
    const File file{std::fopen(limit.path, "we"), std::fclose};
    if (file) std::fprintf(file.get(), "%ld\n", limit.needed);
}

void raise_limit(Limit& limit) {
    const long before = read_limit(limit);
    if (before >= limit.needed) return;
    write_limit(limit);
    const long after = read_limit(limit);
    if (after >= limit.needed) {
        g_info("%s raised from %ld to %ld", limit.name, before, after);
        return;
    }
    if (!limit.complained) {
        g_warning(
            "%s is %ld, %ld is needed: %s until root runs \"sysctl -w %s=%ld\" and the queues are "
            "made anew",
            limit.name, after, limit.needed, limit.consequence, limit.name, limit.needed);
    }
    limit.complained = true;
}

}  // namespace

void raise_queue_limits() {
    for (Limit& limit : limits) raise_limit(limit);
}

}  // namespace mox::osal
