// The file modes of directory and socket keep most strangers out before they come here, and those
// leave no line.
#include "owner/doorkeeper.hpp"

#include <unistd.h>

#include <algorithm>

namespace mox::host {

bool Doorkeeper::admits(const wire::Peer& peer) const {
    const auto is_group = [this](gid_t id) { return id == group_->id; };
    return peer.user == geteuid() || peer.user == 0 ||
           (group_ && std::any_of(peer.groups.begin(), peer.groups.end(), is_group));
}

bool Doorkeeper::judge(GIOStream* stream) {
    const std::optional<wire::Peer> peer = wire::peer_of(stream);
    if (!peer) {
        log_.add("a connection", "connection: the system does not tell whose it is");
        return false;
    }
    if (admits(*peer)) {
        return true;
    }
    const std::string user = "user " + std::to_string(peer->user);
    log_.add(user, "connection of " + user + ", group " + std::to_string(peer->groups.front()) +
                       ", process " + std::to_string(peer->pid) + ": neither this user (" +
                       std::to_string(geteuid()) + ") nor root" +
                       (group_ ? ", nor of group " + group_->name : ""));
    return false;
}

}  // namespace mox::host
