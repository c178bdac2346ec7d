// Every limit is a file with one number, which the kernel lets grow to the largest unsigned long of
// its own width, not of this process's.
#include "doctor_limits.hpp"

#include <moxplat/osal.h>
#include <shmem.h>
#include <sys/msg.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
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

std::string raise_to(const Limit& limit, guint64 needed) {
    const std::string setting = "kernel." + limit.name + "=" + std::to_string(needed);
    return "sysctl -w " + setting + "; to keep it: echo " + setting +
           " >> /etc/sysctl.d/60-moxd.conf";
}

Finding unreadable(const Limit& limit) {
    return {limit.name, Verdict::fail, limit.fault,
            "mount -t proc proc /proc; without kernel." + limit.name +
                " in it, boot a kernel that has System V IPC (CONFIG_SYSVIPC=y)"};
}

// A limit on messages. least: below it something cannot work at all; needed: what is wanted.
Finding check_message_limit(const Limit& limit, guint64 least, guint64 needed,
                            const std::string& consequence) {
    if (!limit.value) return unreadable(limit);
    if (*limit.value >= needed) {
        return {limit.name, Verdict::ok,
                is_now(limit) + ", " + std::to_string(needed) + " is needed", ""};
    }
    const bool is_raised_by_owner = access(limit.path.c_str(), W_OK) == 0;
    const bool is_bad = *limit.value < least && !is_raised_by_owner;
    std::string found =
        is_now(limit) + ", " + std::to_string(needed) + " is needed: " + consequence;
    if (is_raised_by_owner) found += "; an owner that this user starts raises it";
    return {limit.name, is_bad ? Verdict::fail : Verdict::warn, found, raise_to(limit, needed)};
}

// A limit on how many there may be.
Finding check_count(const Limit& limit, guint64 used, guint64 least, guint64 wanted,
                    const char* what) {
    if (!limit.value) return unreadable(limit);
    const guint64 room = *limit.value > used ? *limit.value - used : 0;
    const std::string found =
        is_now(limit) + ", " + what + " that are there: " + std::to_string(used);
    if (room >= wanted) return {limit.name, Verdict::ok, found, ""};
    return {limit.name, room < least ? Verdict::fail : Verdict::warn,
            found + ": room for " + std::to_string(room) + ", " + std::to_string(wanted) +
                " are needed",
            raise_to(limit, used + wanted)};
}

Finding check_segment_size(const Limit& limit, guint64 pool_bytes) {
    if (!limit.value) return unreadable(limit);
    const std::string needs = ", the pool has " + std::to_string(pool_bytes);
    if (*limit.value >= pool_bytes) return {limit.name, Verdict::ok, is_now(limit) + needs, ""};
    return {
        limit.name, Verdict::fail, is_now(limit) + needs + ": it cannot be made",
        raise_to(limit, pool_bytes) + "; or " SHM_SIZE_VARIABLE "=8 (MiB) makes a smaller pool"};
}

Finding check_pages(const Limit& limit, const IpcUse& use) {
    if (!limit.value) return unreadable(limit);
    const auto page = static_cast<guint64>(sysconf(_SC_PAGESIZE));
    const guint64 needed = use.has_pool ? 0 : (use.pool_bytes + lock_set_bytes + page - 1) / page;
    const guint64 room = *limit.value > use.pages ? *limit.value - use.pages : 0;
    const std::string found = is_now(limit) + " pages, " + std::to_string(use.pages) +
                              " are used, " + std::to_string(needed) + " more are needed";
    if (room >= needed) return {limit.name, Verdict::ok, found, ""};
    return {limit.name, Verdict::fail, found + ": the pool cannot be made",
            raise_to(limit, use.pages + needed)};
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
    findings.push_back(check_message_limit(read_limit(directory, "msgmax"), message_bytes,
                                           message_bytes, "the largest messages are refused"));
    findings.push_back(check_message_limit(read_limit(directory, "msgmnb"), message_bytes,
                                           queue_bytes, "a queue is full early"));
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
