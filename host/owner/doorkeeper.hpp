// Who may connect to the owner's socket.
#ifndef MOXHOST_OWNER_DOORKEEPER_HPP
#define MOXHOST_OWNER_DOORKEEPER_HPP

#include <gio/gio.h>

#include <optional>

#include "owner/owner_group.hpp"
#include "owner/refusal_log.hpp"
#include "wire/peer.hpp"

namespace mox::host {

// For any thread.
class Doorkeeper {
public:
    explicit Doorkeeper(std::optional<OwnerGroup> group) : group_(std::move(group)) {}

    // Whether a process runs as this one's user, as root, or is of the group.
    bool admits(const wire::Peer& peer) const;

    // The same for the other end of a connection; a refusal is logged.
    bool judge(GIOStream* stream);

private:
    std::optional<OwnerGroup> group_;
    RefusalLog log_;
};

}  // namespace mox::host

#endif
