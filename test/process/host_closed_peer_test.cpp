// Peers of the owner's socket that close it as soon as they were let in, before the owner's main
// loop has seen them: whatever they were about to be, nothing of them is kept.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>

#include "host_owner.hpp"

namespace mox::test {
namespace {

std::ptrdiff_t descriptors_of(pid_t process) {
    const std::filesystem::directory_iterator all("/proc/" + std::to_string(process) + "/fd");
    return std::distance(begin(all), end(all));
}

bool say(int peer, const std::string& line) {
    char answer[256];
    return send(peer, line.data(), line.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(line.size()) &&
           recv(peer, answer, sizeof answer, 0) > 0;
}

// Identifies itself as a module's connection does, begins to speak, and is gone.
bool connect_and_close(const std::string& socket_path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socket_path.c_str(), sizeof address.sun_path - 1);
    const int peer = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string user;
    for (const char digit : std::to_string(geteuid())) {
        user += '3';
        user += digit;
    }
    const bool is_in =
        connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        say(peer, std::string(1, '\0') + "AUTH EXTERNAL " + user + "\r\n") &&
        say(peer, "NEGOTIATE_UNIX_FD\r\n") && send(peer, "BEGIN\r\n", 7, MSG_NOSIGNAL) == 7;
    close(peer);
    return is_in;
}

TEST(PeersThatCloseAtOnce, LeaveNoDescriptorInTheOwner) {
    HostOwner owner;
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    // The first one has the owner make what it keeps for all.
    ASSERT_TRUE(connect_and_close(owner.run_dir() + "/moxd.sock"));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const std::ptrdiff_t before = descriptors_of(owner.process().pid());
    for (int count = 0; count < 500; ++count) {
        ASSERT_TRUE(connect_and_close(owner.run_dir() + "/moxd.sock"));
    }
    EXPECT_TRUE(eventually([&] { return descriptors_of(owner.process().pid()) <= before; }))
        << before << " before, " << descriptors_of(owner.process().pid()) << " now";
}

}  // namespace
}  // namespace mox::test
