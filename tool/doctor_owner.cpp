// The segment tells who made it. A process id may have gone to another process since: an owner has
// the segment mapped.
#include "doctor_owner.hpp"

#include <moxplat/osal.h>
#include <shmem.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>

#include "wire/segment.hpp"

namespace mox::tool {
namespace {

// Also true when this user may not see its mappings. A process that died and was not yet waited for
// has none.
bool has_mapped(pid_t pid, int segment) {
    std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
    if (!maps.is_open()) return state_of_process(pid) != 'Z';
    std::string line;
    while (std::getline(maps, line)) {
        // Range, permissions, offset, device, inode, name: a segment's inode is its id.
        std::istringstream fields(line);
        std::string skipped;
        long inode = -1;
        std::string name;
        fields >> skipped >> skipped >> skipped >> skipped >> inode >> name;
        if (inode == segment && name.rfind("/SYSV", 0) == 0) return true;
    }
    return false;
}

bool is_alive(pid_t pid, int segment) {
    const bool exists = kill(pid, 0) == 0 || errno == EPERM;
    return exists && has_mapped(pid, segment);
}

std::string process(pid_t pid) {
    return "process " + std::to_string(pid);
}

}  // namespace

FoundSegment find_segment() {
    FoundSegment found;
    const auto segment = host::wire::find_segment(SHM_POOL_KEY);
    if (!segment) return {};
    found.exists = true;
    found.id = segment->id;
    found.creator = segment->creator;
    found.creator_is_alive = found.creator > 0 && is_alive(found.creator, found.id);
    found.bytes = segment->bytes;
    found.attached = segment->attached;
    const uid_t user = geteuid();
    found.is_removable = user == 0 || user == segment->user || user == segment->maker;
    return found;
}

Finding judge_owner(const FoundOwner& owner, const std::string& run_dir) {
    const char* const name = "owner";
    if (!owner.listens) return {name, Verdict::ok, "none runs at " + run_dir};
    const std::string who =
        owner.pid > 0 ? process(owner.pid) : std::string("a process of another PID namespace");
    if (!owner.is_silent) {
        const std::string whose =
            owner.user == geteuid() ? "" : ", of user " + std::to_string(owner.user);
        return {name, Verdict::ok, "runs as " + who + whose + " at " + run_dir};
    }
    if (owner.is_stopped) {
        return {name, Verdict::fail, who + " at " + run_dir + " is stopped: it answers nobody",
                "let it go on", "kill -CONT " + std::to_string(owner.pid)};
    }
    return {name, Verdict::fail, who + " is at " + run_dir + ", but does not answer",
            "see whether it waits for an object's lock, and who holds that", "moxctl locks"};
}

Finding judge_segment(const FoundSegment& segment, const FoundOwner& owner) {
    const char* const name = "segment";
    if (!segment.exists) return {name, Verdict::ok, "no pool is there"};
    const std::string what = "the pool, segment " + std::to_string(segment.id);
    const std::string attached =
        "; processes that have it mapped: " + std::to_string(segment.attached);
    const bool is_owners = owner.listens && owner.pid == segment.creator;
    if (is_owners && (segment.creator_is_alive || segment.creator <= 0)) {
        return {name, Verdict::ok, what + ", is the owner's" + attached};
    }
    if (segment.creator <= 0) {
        return {name, Verdict::fail,
                what +
                    ", was made in another PID namespace, and whether its maker lives does not "
                    "show here" +
                    attached,
                "leave it alone, and run moxctl doctor in that namespace; this one's owner needs "
                "an IPC namespace of its own, as unshare -i gives"};
    }
    const std::string pid = std::to_string(segment.creator);
    if (segment.creator_is_alive) {
        return {name, Verdict::fail,
                what + ", belongs to " + process(segment.creator) +
                    ", an owner that does not answer here: a second one is refused",
                "moxctl --run-dir DIR doctor, with the other owner's directory; or end it; or "
                "start moxd in an IPC namespace of its own, as unshare -i gives",
                "kill " + pid};
    }
    const std::string left = what + ", was left by the dead " + process(segment.creator) + attached;
    const std::string remove = "ipcrm -m " + std::to_string(segment.id);
    if (!segment.is_removable) {
        return {name, Verdict::fail, left + "; it is another user's", "remove it as root", remove};
    }
    return {name, Verdict::warn, left + "; the next owner removes it", "start moxd, or remove it",
            remove};
}

Finding check_leftovers() {
    const char* const name = "leftovers";
    gint32 found = 0;
    const gint32 result = osal_process_find_stale(&found);
    if (result != OSAL_OK) {
        return {name, Verdict::fail,
                std::string("locks and queues cannot be looked at: ") + osal_error_text(result),
                "see what is there", "ipcs -m -q"};
    }
    if (found == 0) return {name, Verdict::ok, "no locks or queues of dead owners"};
    return {name, Verdict::warn,
            "sets of locks, and queues, that dead owners left: " + std::to_string(found) +
                "; the next owner removes them",
            "start moxd; or remove those with keys from 0x00132000 to 0x001333ff: ipcrm -M KEY or "
            "-Q KEY",
            "ipcs -m -q"};
}

}  // namespace mox::tool
