// The socket tells who listens, the segment tells who made it. A process id may have gone to
// another process since: an owner has the segment mapped.
#include "doctor_owner.hpp"

#include <moxplat/osal.h>
#include <shmem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <sstream>

#include "wire/directories.hpp"

namespace mox::tool {
namespace {

class Socket {
public:
    Socket() : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    ~Socket() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int get() const { return descriptor_; }

private:
    int descriptor_;
};

// Also true when this user may not see its mappings.
bool has_mapped(pid_t pid, int segment) {
    std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
    std::string line;
    bool has_line = false;
    while (std::getline(maps, line)) {
        has_line = true;
        // Range, permissions, offset, device, inode, name: a segment's inode is its id.
        std::istringstream fields(line);
        std::string skipped;
        long inode = -1;
        std::string name;
        fields >> skipped >> skipped >> skipped >> skipped >> inode >> name;
        if (inode == segment && name.rfind("/SYSV", 0) == 0) return true;
    }
    return !has_line;
}

bool is_alive(pid_t pid, int segment) {
    const bool exists = kill(pid, 0) == 0 || errno == EPERM;
    return exists && has_mapped(pid, segment);
}

std::string process(pid_t pid) {
    return "process " + std::to_string(pid);
}

}  // namespace

FoundOwner find_owner(const std::string& run_dir) {
    const std::string path = host::wire::socket_path(run_dir);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return {};
    path.copy(address.sun_path, path.size());
    const Socket socket;
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return {};
    }
    return {true, peer.pid};
}

FoundSegment find_segment() {
    FoundSegment found;
    found.id = shmget(SHM_POOL_KEY, 0, 0);
    shmid_ds status = {};
    if (found.id < 0 || shmctl(found.id, IPC_STAT, &status) != 0) return {};
    found.exists = true;
    found.creator = status.shm_cpid;
    found.creator_is_alive = is_alive(found.creator, found.id);
    found.bytes = status.shm_segsz;
    found.attached = status.shm_nattch;
    const uid_t user = geteuid();
    found.is_removable = user == 0 || user == status.shm_perm.uid || user == status.shm_perm.cuid;
    return found;
}

Finding judge_owner(const FoundOwner& owner, const std::string& run_dir) {
    const std::string found = owner.answers ? "runs as " + process(owner.pid) + " at " + run_dir
                                            : "none runs at " + run_dir;
    return {"owner", Verdict::ok, found, ""};
}

Finding judge_segment(const FoundSegment& segment, const FoundOwner& owner) {
    const char* const name = "segment";
    if (!segment.exists) return {name, Verdict::ok, "no pool is there", ""};
    const std::string what = "the pool, segment " + std::to_string(segment.id);
    if (segment.creator_is_alive && owner.answers && owner.pid == segment.creator) {
        return {name, Verdict::ok,
                what + ", is the owner's; processes that have it mapped: " +
                    std::to_string(segment.attached),
                ""};
    }
    if (segment.creator_is_alive) {
        return {name, Verdict::fail,
                what + ", belongs to " + process(segment.creator) +
                    ", an owner that does not answer here: a second one is refused",
                "moxctl --run-dir DIR doctor, with the other owner's directory; or kill " +
                    std::to_string(segment.creator) + "; or unshare -i moxd ..."};
    }
    const std::string left = what + ", was left by the dead " + process(segment.creator) +
                             "; processes that have it mapped: " + std::to_string(segment.attached);
    const std::string remove = "ipcrm -m " + std::to_string(segment.id);
    if (!segment.is_removable) {
        return {name, Verdict::fail, left + "; it is another user's", remove + " as root"};
    }
    return {name, Verdict::warn, left + "; the next owner removes it", "start moxd, or " + remove};
}

Finding check_leftovers() {
    const char* const name = "leftovers";
    gint32 found = 0;
    const gint32 result = osal_process_find_stale(&found);
    if (result != OSAL_OK) {
        return {name, Verdict::fail,
                std::string("locks and queues cannot be looked at: ") + osal_error_text(result),
                "ipcs -m -q"};
    }
    if (found == 0) return {name, Verdict::ok, "no locks or queues of dead owners", ""};
    return {name, Verdict::warn,
            "sets of locks, and queues, that dead owners left: " + std::to_string(found) +
                "; the next owner removes them",
            "start moxd; or see ipcs -m -q for keys from 0x00132000 to 0x001333ff, ipcrm -M KEY or "
            "-Q KEY"};
}

}  // namespace mox::tool
