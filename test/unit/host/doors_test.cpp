// Whom an owner lets in by its user and groups, and which owner a process trusts.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "owner/doorkeeper.hpp"
#include "wire/directories.hpp"
#include "wire/peer.hpp"

namespace mox::test {
namespace {

using host::wire::Peer;

constexpr uid_t somebody = 4711;
constexpr gid_t some_group = 4712;
constexpr gid_t other_group = 4713;

TEST(Doorkeeper, AdmitsItsOwnUserAndRoot) {
    const host::Doorkeeper keeper(std::nullopt);
    EXPECT_TRUE(keeper.admits({geteuid(), {other_group}, 1}));
    EXPECT_TRUE(keeper.admits({0, {other_group}, 1}));
}

TEST(Doorkeeper, AdmitsNobodyElseWithoutAGroup) {
    const host::Doorkeeper keeper(std::nullopt);
    EXPECT_FALSE(keeper.admits({somebody, {0, getegid(), other_group}, 1}));
}

TEST(Doorkeeper, AdmitsMembersOfItsGroupByTheirFirstOrAFurtherGroup) {
    const host::Doorkeeper keeper(host::OwnerGroup{some_group, "some"});
    EXPECT_TRUE(keeper.admits({somebody, {some_group}, 1}));
    EXPECT_TRUE(keeper.admits({somebody, {other_group, 5, some_group}, 1}));
    EXPECT_FALSE(keeper.admits({somebody, {other_group, 5}, 1}));
    EXPECT_FALSE(keeper.admits({somebody, {}, 1}));
}

// A socket in a directory of its own, which this user has.
class RunDirectory : public ::testing::Test {
protected:
    RunDirectory() {
        char name[] = "/tmp/mox-doors-XXXXXX";
        EXPECT_NE(mkdtemp(name), nullptr);
        parent_ = name;
        path_ = parent_ + "/run";
        EXPECT_EQ(mkdir(path_.c_str(), 0700), 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, host::wire::socket_path(path_).c_str(),
                     sizeof address.sun_path - 1);
        socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        set_modes(0710, 0660);
    }
    ~RunDirectory() override {
        close(socket_);
        std::filesystem::remove_all(parent_);
    }

    void set_modes(mode_t directory, mode_t socket) const {
        EXPECT_EQ(chmod(path_.c_str(), directory), 0);
        EXPECT_EQ(chmod(host::wire::socket_path(path_).c_str(), socket), 0);
    }

    // What a process of another user says to an owner of a user.
    std::string distrust(uid_t owner, const std::vector<gid_t>& groups) const {
        const Peer self = {geteuid() + 1, groups, 0};
        return host::wire::distrust({owner, {}, 1}, self, path_);
    }

    std::string parent_;
    std::string path_;
    int socket_ = -1;
};

TEST_F(RunDirectory, OfAnyKindIsTrustedWithAnOwnerOfTheSameUserOrRoot) {
    set_modes(0777, 0666);
    EXPECT_EQ(distrust(geteuid() + 1, {other_group}), "");
    EXPECT_EQ(distrust(0, {other_group}), "");
}

// Root is another user here, so that what follows is not decided by that.
class ForeignRunDirectory : public RunDirectory {
protected:
    ForeignRunDirectory() {
        if (geteuid() == 0) {
            foreign_ = somebody;
            for (const std::string& path : {path_, host::wire::socket_path(path_)}) {
                has_given_ = lchown(path.c_str(), somebody, static_cast<gid_t>(-1)) == 0;
            }
        }
    }

    uid_t foreign_ = geteuid();
    // Not where this process is root over one user only: then it stays root's.
    bool has_given_ = true;
};

TEST_F(ForeignRunDirectory, IsTrustedByTheGroupThatItsSocketIsFor) {
    EXPECT_EQ(distrust(foreign_, {other_group, getegid()}) == "", has_given_);
}

TEST_F(ForeignRunDirectory, IsNotTrustedByOtherGroups) {
    EXPECT_NE(distrust(foreign_, {other_group}), "");
    set_modes(0711, 0606);
    EXPECT_NE(distrust(foreign_, {getegid()}), "");
}

TEST_F(ForeignRunDirectory, IsNotTrustedWithAnOwnerWhoseItIsNot) {
    EXPECT_NE(distrust(foreign_ + 5, {getegid()}), "");
}

TEST_F(ForeignRunDirectory, IsNotTrustedWhenOthersMayWriteThere) {
    set_modes(0730, 0660);
    EXPECT_NE(distrust(foreign_, {getegid()}), "");
    set_modes(0712, 0660);
    EXPECT_NE(distrust(foreign_, {getegid()}), "");
}

TEST_F(ForeignRunDirectory, IsNotTrustedWhereOthersCanPutOne) {
    EXPECT_EQ(chmod(parent_.c_str(), 01777), 0);
    EXPECT_NE(distrust(foreign_, {getegid()}), "");
}

TEST(PeerOfASocket, IsToldWithUserGroupsAndProcess) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    GSocket* const socket = g_socket_new_from_fd(ends[0], nullptr);
    ASSERT_NE(socket, nullptr);
    GSocketConnection* const stream = g_socket_connection_factory_create_connection(socket);
    const auto peer = host::wire::peer_of(G_IO_STREAM(stream));
    ASSERT_TRUE(peer.has_value());
    EXPECT_EQ(peer->user, geteuid());
    EXPECT_EQ(peer->pid, getpid());
    EXPECT_EQ(peer->groups, host::wire::this_process().groups);
    g_object_unref(stream);
    g_object_unref(socket);
    close(ends[1]);
}

}  // namespace
}  // namespace mox::test
