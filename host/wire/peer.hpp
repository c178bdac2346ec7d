// Who is at the other end of a socket, and whether the owner there is one to join.
#ifndef MOXHOST_WIRE_PEER_HPP
#define MOXHOST_WIRE_PEER_HPP

#include <gio/gio.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace mox::host::wire {

// A process, as the system knew it when it connected, or began to listen.
struct Peer {
    uid_t user = 0;
    std::vector<gid_t> groups;  // its own first; more than one only where the system tells them
    pid_t pid = 0;              // 0 in another PID namespace
};

// Nothing for a stream that is no socket, or whose other end the system does not tell.
std::optional<Peer> peer_of(GIOStream* stream);

// The process itself, as it is now; its pid is left out.
Peer this_process();

// Why a process must not join the owner whose socket lies in a run directory; "" when it may. It
// may when the owner runs as its own user or as root; or when the owner's user has the directory
// and the socket, nobody else can write in the directory or the one that it lies in, and the socket
// is for a group of the process: then it was that owner who was to be found there.
std::string distrust(const Peer& owner, const Peer& self, const std::string& run_dir);

}  // namespace mox::host::wire

#endif
