// The kernel tells who made the other end of a local socket; nothing of it comes from the peer.
#include "wire/peer.hpp"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "wire/directories.hpp"

namespace mox::host::wire {
namespace {

// The groups beside the process's own one; none where the system does not tell them.
std::vector<gid_t> more_groups(int socket) {
    std::vector<gid_t> groups;
    socklen_t bytes = 0;
    while (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &bytes) != 0) {
        // A system that wants more room and does not say how much would be asked for ever.
        if (errno != ERANGE || bytes <= groups.size() * sizeof(gid_t)) {
            return {};
        }
        groups.resize(bytes / sizeof(gid_t));
    }
    groups.resize(bytes / sizeof(gid_t));
    return groups;
}

bool has_group(const Peer& peer, gid_t group) {
    return std::find(peer.groups.begin(), peer.groups.end(), group) != peer.groups.end();
}

}  // namespace

std::optional<Peer> peer_of(GIOStream* stream) {
    if (!G_IS_SOCKET_CONNECTION(stream)) {
        return std::nullopt;
    }
    const int socket = g_socket_get_fd(g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream)));
    ucred credentials = {};
    socklen_t bytes = sizeof credentials;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &bytes) != 0 ||
        bytes != sizeof credentials) {
        return std::nullopt;
    }
    Peer peer = {credentials.uid, {credentials.gid}, credentials.pid};
    const std::vector<gid_t> more = more_groups(socket);
    peer.groups.insert(peer.groups.end(), more.begin(), more.end());
    return peer;
}

Peer this_process() {
    Peer self = {geteuid(), {getegid()}, 0};
    const int count = getgroups(0, nullptr);
    std::vector<gid_t> more(static_cast<std::size_t>(std::max(count, 0)));
    const int told = getgroups(count, more.data());
    more.resize(static_cast<std::size_t>(std::max(told, 0)));
    self.groups.insert(self.groups.end(), more.begin(), more.end());
    return self;
}

// Whether only root, the owner or this process's user can make entries beside the run directory.
static bool has_safe_parent(const std::string& run_dir, const Peer& owner, const Peer& self) {
    gchar* const path = g_path_get_dirname(run_dir.c_str());
    struct stat parent = {};
    const bool is_there = lstat(path, &parent) == 0 && S_ISDIR(parent.st_mode);
    g_free(path);
    return is_there && (parent.st_mode & (S_IWGRP | S_IWOTH)) == 0 &&
           (parent.st_uid == 0 || parent.st_uid == owner.user || parent.st_uid == self.user);
}

std::string distrust(const Peer& owner, const Peer& self, const std::string& run_dir) {
    if (owner.user == self.user || owner.user == 0) {
        return {};
    }
    struct stat directory = {};
    struct stat socket = {};
    const std::string who = "runs as user " + std::to_string(owner.user) + ", not as this one (" +
                            std::to_string(self.user) + "), and ";
    if (lstat(run_dir.c_str(), &directory) != 0 ||
        lstat(socket_path(run_dir).c_str(), &socket) != 0 || !S_ISDIR(directory.st_mode)) {
        return who + "its run directory cannot be looked at";
    }
    if (!has_safe_parent(run_dir, owner, self)) {
        return who + "others can put a run directory where it lies";
    }
    if (directory.st_uid != owner.user || socket.st_uid != owner.user ||
        (directory.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return who + "others can write where its socket lies";
    }
    if (!has_group(self, socket.st_gid) || (socket.st_mode & S_IWGRP) == 0) {
        return who + "its socket is for no group of this process";
    }
    return {};
}

}  // namespace mox::host::wire
