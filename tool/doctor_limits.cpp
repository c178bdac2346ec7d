// Every limit is a file with one number, which the kernel lets grow to the largest unsigned long of
// its own width, not of this process's.
#include "doctor_limits.hpp"

#include <ipcmsg.h>
#include <moxplat/osal.h>
#include <shmem.h>
#include <sys/msg.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <fstream>
#include <optional>
#include <string_view>

namespace mox::tool {
namespace {

// msgmax counts the bytes behind the message type.
constexpr guint64 message_bytes = OSAL_QUEUE_MESSAGE_MAX - 4;
constexpr guint64 queue_bytes = OSAL_QUEUE_ROOM;
constexpr guint64 most_queues = 128;  // the owner's, and of 127 modules
constexpr guint64 least_queues = 2;
constexpr guint64 least_segments = 2;  // the pool, and a set of locks
constexpr guint64 lock_set_bytes = guint64{1} << 18;
constexpr guint64 mib = guint64{1} << 20;
constexpr guint64 least_pool_mib = 8;
constexpr guint64 most_pool_mib = 32;

struct Limit {
    std::string name;  // without "kernel."
    std::string path;
    std::optional<guint64> value;
    std::string fault;  // why there is no value
};

std::optional<guint64> number_of(std::string_view text) {
    guint64 number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc{} || result.ptr != end) return std::nullopt;
    return number;
}

Limit read_limit(const std::string& directory, const char* name) {
    Limit limit{name, directory + "/" + name, std::nullopt, ""};
    std::ifstream file(limit.path);
    std::string word;
    if (!(file >> word)) {
        limit.fault = limit.path + " cannot be read";
    } else {
        limit.value = number_of(word);
        if (!limit.value) limit.fault = limit.path + " holds no number";
    }
    return limit;
}

std::string is_now(const Limit& limit) {
    return "kernel." + limit.name + " is " + std::to_string(*limit.value);
}

// A limit that is too low, and how it is raised. more: what else would do; or "".
Finding too_low(const Limit& limit, Verdict verdict, const std::string& found, guint64 needed,
                const std::string& more = "") {
    const std::string setting = "kernel." + limit.name + "=" + std::to_string(needed);
    return {
        limit.name, verdict, found,
        "raise it as root; the line " + setting + " in /etc/sysctl.d/60-moxd.conf keeps it" + more,
        "sysctl -w " + setting};
}

Finding unreadable(const Limit& limit) {
    return {limit.name, Verdict::fail, limit.fault,
            "mount /proc as root; without kernel." + limit.name +
                " in it, boot a kernel that has System V IPC (CONFIG_SYSVIPC=y)",
            "mount -t proc proc /proc"};
}

// A limit on messages: below it, it runs with less.
Finding check_message_limit(const Limit& limit, guint64 needed, const std::string& consequence) {
    if (!limit.value) return unreadable(limit);
    if (*limit.value >= needed) {
        return {limit.name, Verdict::ok,
                is_now(limit) + ", " + std::to_string(needed) + " is needed"};
    }
    std::string found =
        is_now(limit) + ", " + std::to_string(needed) + " is needed: " + consequence;
    if (access(limit.path.c_str(), W_OK) == 0) {
        found += "; an owner that this user starts raises it";
    }
    return too_low(limit, Verdict::warn, found, needed);
}

// The bytes of the largest value that an event of so large a message can carry.
guint64 largest_value(guint64 message) {
    constexpr guint64 heads =
        offsetof(MOX_MSG_S, data) - sizeof(gint32) + offsetof(MSG_EVENT_DATA_HEAD_S, data);
    return message > heads ? message - heads : 0;
}

Finding check_largest_message(const Limit& limit) {
    return check_message_limit(limit, message_bytes,
                               "values longer than " +
                                   std::to_string(largest_value(limit.value.value_or(0))) +
                                   " bytes are not announced");
}

// Below the largest message nothing of that size ever goes through.
Finding check_queue_room(const Limit& limit) {
    Finding finding = check_message_limit(limit, queue_bytes, "a queue is full early");
    const bool is_raised_by_owner = access(limit.path.c_str(), W_OK) == 0;
    if (limit.value && *limit.value < message_bytes && !is_raised_by_owner) {
        finding.verdict = Verdict::fail;
    }
    return finding;
}

// A limit on how many there may be.
Finding check_count(const Limit& limit, guint64 used, guint64 least, guint64 wanted,
                    const char* what) {
    if (!limit.value) return unreadable(limit);
    const guint64 room = *limit.value > used ? *limit.value - used : 0;
    const std::string found =
        is_now(limit) + ", " + what + " that are there: " + std::to_string(used);
    if (room >= wanted) return {limit.name, Verdict::ok, found};
    return too_low(limit, room < least ? Verdict::fail : Verdict::warn,
                   found + ": room for " + std::to_string(room) + ", " + std::to_string(wanted) +
                       " are needed",
                   used + wanted);
}

Finding check_segment_size(const Limit& limit, guint64 pool_bytes) {
    if (!limit.value) return unreadable(limit);
    const std::string needs = ", the pool has " + std::to_string(pool_bytes);
    if (*limit.value >= pool_bytes) return {limit.name, Verdict::ok, is_now(limit) + needs};
    return too_low(limit, Verdict::fail, is_now(limit) + needs + ": it cannot be made", pool_bytes,
                   "; or " SHM_SIZE_VARIABLE "=8 (MiB) makes a smaller pool");
}

Finding check_pages(const Limit& limit, const IpcUse& use) {
    if (!limit.value) return unreadable(limit);
    const auto page = static_cast<guint64>(sysconf(_SC_PAGESIZE));
    const guint64 needed = use.has_pool ? 0 : (use.pool_bytes + lock_set_bytes + page - 1) / page;
    const guint64 room = *limit.value > use.pages ? *limit.value - use.pages : 0;
    const std::string found = is_now(limit) + " pages, " + std::to_string(use.pages) +
                              " are used, " + std::to_string(needed) + " more are needed";
    if (room >= needed) return {limit.name, Verdict::ok, found};
    return too_low(limit, Verdict::fail, found + ": the pool cannot be made", use.pages + needed);
}

}  // namespace

IpcUse count_ipc_use(guint64 pool_bytes, bool has_pool) {
    IpcUse use;
    use.pool_bytes = pool_bytes;
    use.has_pool = has_pool;
    shm_info segments = {};
    if (shmctl(0, SHM_INFO, reinterpret_cast<shmid_ds*>(&segments)) >= 0) {
        use.segments = static_cast<guint64>(segments.used_ids);
        use.pages = segments.shm_tot;
    }
    msginfo queues = {};
    if (msgctl(0, MSG_INFO, reinterpret_cast<msqid_ds*>(&queues)) >= 0) {
        use.queues = static_cast<guint64>(queues.msgpool);
    }
    return use;
}

guint64 wanted_pool_bytes() {
    const gchar* const text = g_getenv(SHM_SIZE_VARIABLE);
    const std::optional<guint64> wanted = number_of(text == nullptr ? "" : text);
    const bool is_good = wanted && *wanted >= least_pool_mib && *wanted <= most_pool_mib;
    return (is_good ? *wanted : most_pool_mib) * mib;
}

std::vector<Finding> check_limits(const std::string& directory, const IpcUse& use) {
    const bool has_owner = use.has_pool;
    std::vector<Finding> findings;
    findings.push_back(check_largest_message(read_limit(directory, "msgmax")));
    findings.push_back(check_queue_room(read_limit(directory, "msgmnb")));
    findings.push_back(check_count(read_limit(directory, "msgmni"), use.queues,
                                   has_owner ? 1 : least_queues, has_owner ? 1 : most_queues,
                                   "queues"));
    findings.push_back(check_segment_size(read_limit(directory, "shmmax"), use.pool_bytes));
    findings.push_back(check_pages(read_limit(directory, "shmall"), use));
    findings.push_back(check_count(read_limit(directory, "shmmni"), use.segments,
                                   has_owner ? 0 : least_segments, has_owner ? 0 : least_segments,
                                   "segments"));
    return findings;
}

}  // namespace mox::tool
