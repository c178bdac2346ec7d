// A program that connects to the owner again and again and keeps all of its connections, silent or
// identified: it takes neither the owner's descriptors nor its time nor its log from the others.
#include <sys/socket.h>
#include <sys/un.h>

#include <sstream>

#include "forked_run.hpp"
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

// Processor time that a process has used, in ticks.
long ticks_of(pid_t process) {
    const std::string stat = content_of("/proc/" + std::to_string(process) + "/stat");
    std::istringstream fields(stat.substr(stat.rfind(')') + 1));
    std::string other;
    for (int field = 3; field < 14; ++field) fields >> other;
    long in_user = -1;
    long in_system = -1;
    fields >> in_user >> in_system;
    EXPECT_FALSE(fields.fail()) << stat;
    return in_user + in_system;
}

class CrowdAtTheDoor : public ::testing::TestWithParam<Crowd> {
protected:
    void expect_module_works(const char* name) {
        in_module(owner_, name, [](MoxHostModule* module) {
            EXPECT_TRUE(moxhost_refresh(module, nullptr));
            EXPECT_EQ(value_of("Tank", "Level", From::owners_hardware), "5");
        });
    }

    // Asks until it is let in.
    void expect_module_joins_at_last() {
        const ForkedRun run = run_forked([&] {
            ModulePtr module;
            std::string cause;
            EXPECT_TRUE(eventually([&] {
                HostError error;
                module.reset(
                    moxhost_join(owner_.run_dir().c_str(), "one", MODULE_APP, error.out()));
                cause = error.text();
                return module != nullptr;
            })) << cause;
            if (module == nullptr) return;
            EXPECT_TRUE(moxhost_refresh(module.get(), nullptr));
            EXPECT_EQ(value_of("Tank", "Level", From::owners_hardware), "5");
        });
        EXPECT_TRUE(run.is_good) << run.text;
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
    // Closed ones may still wait at the socket, ahead of the one who joins.
    expect_module_joins_at_last();
    EXPECT_EQ(owner_.stop(), 0) << owner_.process().errors();
    EXPECT_EQ(system_v_objects(), 0);
}

TEST_P(CrowdAtTheDoor, GivesWayToOneWhoJoins) {
    ASSERT_TRUE(owner_.start()) << owner_.process().errors();
    limit_descriptors(owner_.process().pid(), descriptors_of(owner_.process().pid()) + 50);
    const std::vector<int> crowd = connect_all(owner_.run_dir() + "/moxd.sock", GetParam());
    expect_module_joins_at_last();
    for (const int peer : crowd) close(peer);
    EXPECT_EQ(owner_.stop(), 0) << owner_.process().errors();
}

// More than are let in at once: a module asks but once, and waits for its answer as long as ever.
TEST(SilentCrowd, KeepsNobodyOut) {
    HostOwner owner;
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    const std::vector<int> crowd = connect_all(owner.run_dir() + "/moxd.sock", Crowd::silent, 100);
    in_module(owner, "one",
              [](MoxHostModule*) { EXPECT_EQ(value_of("Tank", "Label"), "'main tank'"); });
    for (const int peer : crowd) close(peer);
    EXPECT_EQ(owner.stop(), 0) << owner.process().errors();
}

// Connections wait at the socket while the owner cannot take one: it is idle meanwhile.
TEST(OwnerWithoutADescriptor, NeitherSpinsNorFillsItsLog) {
    HostOwner owner;
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    const pid_t process = owner.process().pid();
    limit_descriptors(process, 3);
    const std::vector<int> crowd = connect_all(owner.run_dir() + "/moxd.sock", Crowd::silent, 60);
    const long before = ticks_of(process);
    std::this_thread::sleep_for(std::chrono::seconds(1));
    EXPECT_LT(ticks_of(process) - before, sysconf(_SC_CLK_TCK) / 2) << "ticks within a second";
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
