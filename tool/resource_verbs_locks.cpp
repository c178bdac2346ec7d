// locks: who holds the objects' locks, and who waits for them.
#include <moxplat/osal.h>

#include <algorithm>
#include <span>
#include <vector>

#include "json_writer.hpp"
#include "membership.hpp"
#include "processes.hpp"
#include "table.hpp"
#include "verb_table.hpp"

namespace mox::tool {
namespace {

gboolean wants_all = FALSE;

constexpr GOptionEntry lock_options[] = {
    {"all", 'a', 0, G_OPTION_ARG_NONE, &wants_all, "free locks, too", nullptr}, {}};

// A thread, with the name and the id of its process.
std::string thread_words(const ProcessNames& names, gint32 thread, gint32 process) {
    std::string text = "thread " + std::to_string(thread);
    if (process == 0) return text;
    const std::string name = names.name_of(process);
    return (name.empty() ? "" : name + " ") + "(process " + std::to_string(process) + ", " + text +
           ")";
}

Cell holder_cell(const ProcessNames& names, const MoxHostLockInfo& lock) {
    if (lock.holder == 0) return {"free", Style::faint};
    std::string text = thread_words(names, lock.holder, lock.holder_pid);
    if (lock.holder_is_dead != FALSE) {
        return {text + ", died; the next taker gets it", Style::bad};
    }
    return text;
}

std::string waiter_words(const ProcessNames& names, const MoxHostLockInfo& lock) {
    std::string text;
    for (guint32 at = 0; at < lock.waiter_count; ++at) {
        const gint32 thread = lock.waiters[at];
        text += (text.empty() ? "" : ", ") + thread_words(names, thread, process_of_thread(thread));
    }
    return text;
}

void write_thread(JsonWriter& json, const ProcessNames& names, gint32 thread, gint32 process) {
    json.member("thread", thread);
    if (process == 0) {
        json.member_null("pid");
        json.member_null("process");
        return;
    }
    json.member("pid", process);
    json.member("process", names.name_of(process));
}

void write_lock(JsonWriter& json, const ProcessNames& names, const MoxHostLockInfo& lock) {
    json.begin_object();
    if (lock.object[0] == '\0') {
        json.member_null("object");
    } else {
        json.member("object", lock.object);
    }
    json.member("set", lock.semid);
    json.member("member", lock.member);
    if (lock.holder == 0) {
        json.member_null("holder");
    } else {
        json.name("holder");
        json.begin_object();
        write_thread(json, names, lock.holder, lock.holder_pid);
        json.member("dead", lock.holder_is_dead != FALSE);
        json.end_object();
    }
    json.name("waiters");
    json.begin_array();
    for (guint32 at = 0; at < lock.waiter_count; ++at) {
        json.begin_object();
        write_thread(json, names, lock.waiters[at], process_of_thread(lock.waiters[at]));
        json.end_object();
    }
    json.end_array();
    json.end_object();
}

void print(Call& call, std::span<const MoxHostLockInfo> locks, const ProcessNames& names) {
    if (call.wants_json) {
        JsonWriter json;
        json.begin_array();
        for (const MoxHostLockInfo& lock : locks) write_lock(json, names, lock);
        json.end_array();
        json.print(call.out);
        return;
    }
    if (locks.empty()) {
        call.out.line("No lock is held or waited for.");
        return;
    }
    Table table({{"OBJECT"}, {"LOCK", Align::right}, {"HOLDER"}, {"WAITING"}});
    for (const MoxHostLockInfo& lock : locks) {
        table.add({lock.object[0] == '\0' ? "?" : lock.object,
                   std::to_string(lock.semid) + ":" + std::to_string(lock.member),
                   holder_cell(names, lock), waiter_words(names, lock)});
    }
    table.print(call.out);
}

// The locks that are held or waited for, without the names of what they guard.
std::vector<MoxHostLockInfo> unnamed_locks() {
    constexpr guint32 most = 1024;
    std::vector<OSAL_BUSY_SEM_S> busy(most);
    guint32 count = 0;
    osal_process_list_busy(busy.data(), most, &count);
    busy.resize(std::min(count, most));
    std::vector<MoxHostLockInfo> locks;
    for (const OSAL_BUSY_SEM_S& sem : busy) {
        MoxHostLockInfo lock = {};
        lock.semid = sem.semid;
        lock.member = sem.member;
        lock.holder = sem.state.holder;
        lock.holder_pid = process_of_thread(sem.state.holder);
        lock.holder_is_dead = sem.state.holder_is_dead;
        lock.waiter_count = sem.state.waiter_count;
        std::copy_n(sem.state.waiters, sem.state.waiter_count, lock.waiters);
        locks.push_back(lock);
    }
    return locks;
}

void run(Call& call) {
    try {
        const Membership owner(call);
        const LockInfos locks = lock_infos(owner, wants_all != FALSE);
        print(call, {locks.begin(), locks.end()}, ProcessNames(owner));
    } catch (const OwnerSilent& silence) {
        // It may be one of those that wait: then this is what was asked for.
        print(call, unnamed_locks(), ProcessNames());
        call.out.flush();
        throw Failed(std::string(silence.what()) + "; what the locks above guard is not known");
    }
}

}  // namespace

const Verb locks_verb = {
    .name = "locks",
    .arguments = "",
    .summary = "show who holds objects' locks, and who waits for them",
    .description =
        "Prints each lock that is held or waited for: its object, the set and the place\n"
        "in it, the holder and up to four that wait, each with its thread and the module\n"
        "or program that this belongs to. Objects that share a lock are listed each. A\n"
        "holder that died is told as such. No lock is taken for this. When the owner does\n"
        "not answer, perhaps because it waits for a lock, objects are not named and the\n"
        "exit code is 1.",
    .example = "moxctl locks\nmoxctl locks --all --json",
    .options = lock_options,
    .run = run,
};

}  // namespace mox::tool
