// A program that connects to the owner again and again and keeps all of its connections, silent or
// identified: it takes neither the owner's descriptors nor its time nor its log from the others.
#include <sys/socket.h>
#include <sys/un.h>

#include "system_limits.hpp"

namespace mox::test {
namespace {

enum class Crowd { silent, identified };

bool say(int peer, const std::string& line) {
    char answer[256];
    return send(peer, line.data(), line.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(line.size()) &&
           recv(peer, answer, sizeof answer, 0) > 0;
}

void identify(int peer) {
    std::string user;
    for (const char digit : std::to_string(geteuid())) {
        user += '3';
        user += digit;
    }
    const bool is_in = say(peer, std::string(1, '\0') + "AUTH EXTERNAL " + user + "\r\n") &&
                       say(peer, "NEGOTIATE_UNIX_FD\r\n");
    if (is_in) send(peer, "BEGIN\r\n", 7, MSG_NOSIGNAL);
}

std::vector<int> connect_all(const std::string& socket_path, Crowd crowd, int most = 300) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socket_path.c_str(), sizeof address.sun_path - 1);
    std::vector<int> peers;
    for (int count = 0; count < most; ++count) {
        const int peer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
            << count;
        if (crowd == Crowd::identified) identify(peer);
        peers.push_back(peer);
    }
    return peers;
}

class CrowdAtTheDoor : public ::testing::TestWithParam<Crowd> {
protected:
    void expect_module_works(const char* name) {
        in_module(owner_, name, [](MoxHostModule* module) {
            EXPECT_TRUE(moxhost_refresh(module, nullptr));
            EXPECT_EQ(value_of("Tank", "Level", From::owners_hardware), "5");
        });
    }

    HostOwner owner_;
};

TEST_P(CrowdAtTheDoor, LeavesTheOwnerToItsModules) {
    ASSERT_TRUE(owner_.start()) << owner_.process().errors();
    expect_module_works("one");
    const pid_t process = owner_.process().pid();
    const rlim_t before = descriptors_of(process);
    limit_descriptors(process, before + 50);
    const ModulePtr module = join(owner_, "two");
    ASSERT_NE(module, nullptr);
    const std::vector<int> crowd = connect_all(owner_.run_dir() + "/moxd.sock", GetParam());
    for (int round = 0; round < 50; ++round) {
        HostError error;
        ASSERT_TRUE(moxhost_refresh(module.get(), error.out())) << error.text();
        EXPECT_EQ(value_of("Tank", "Level", From::owners_hardware), "5");
    }
    EXPECT_LT(descriptors_of(process), before + 50) << "some are left for the owner's work";
    if (GetParam() == Crowd::silent) {
        EXPECT_TRUE(eventually([&] { return descriptors_of(process) <= before + 1; }))
            << "who says nothing is turned away";
    }
    for (const int peer : crowd) close(peer);
    EXPECT_TRUE(eventually([&] { return descriptors_of(process) <= before + 1; }));
    EXPECT_LT(owner_.process().errors().size() + owner_.process().output().size(), 20000U);
    EXPECT_TRUE(moxhost_refresh(module.get(), nullptr));
}

TEST_P(CrowdAtTheDoor, LetsTheNextOneJoinWhenItIsGone) {
    ASSERT_TRUE(owner_.start()) << owner_.process().errors();
    limit_descriptors(owner_.process().pid(), descriptors_of(owner_.process().pid()) + 50);
    const std::vector<int> crowd = connect_all(owner_.run_dir() + "/moxd.sock", GetParam());
    for (const int peer : crowd) close(peer);
    EXPECT_TRUE(eventually([&] { return descriptors_of(owner_.process().pid()) < 30; }));
    expect_module_works("one");
    EXPECT_EQ(owner_.stop(), 0) << owner_.process().errors();
    EXPECT_EQ(system_v_objects(), 0);
}

// Connections wait at the socket while the owner cannot take one: it is idle meanwhile.
TEST(OwnerWithoutADescriptor, NeitherSpinsNorFillsItsLog) {
    HostOwner owner;
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    const pid_t process = owner.process().pid();
    limit_descriptors(process, 3);
    const std::vector<int> crowd = connect_all(owner.run_dir() + "/moxd.sock", Crowd::silent, 60);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_LT(owner.process().errors().size() + owner.process().output().size(), 20000U);
    limit_descriptors(process, RLIM_INFINITY);
    for (const int peer : crowd) close(peer);
    in_module(owner, "one",
              [](MoxHostModule*) { EXPECT_EQ(value_of("Tank", "Label"), "'main tank'"); });
    EXPECT_EQ(owner.stop(), 0) << owner.process().errors();
}

INSTANTIATE_TEST_SUITE_P(Each, CrowdAtTheDoor, ::testing::Values(Crowd::silent, Crowd::identified),
                         [](const auto& test) {
                             return test.param == Crowd::silent ? "ThatIsSilent"
                                                                : "ThatIdentifiesItself";
                         });

}  // namespace
}  // namespace mox::test
