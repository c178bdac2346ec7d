// A socket accepts for an owner that is stopped, and its threads let a client in while the owner
// itself waits for a lock: only the reply to a call shows that it is at work. The call is made by
// hand, so that the doctor has no thread and waits no longer than it says.
#include "doctor_answer.hpp"

#include <gio/gio.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <string_view>

#include "wire/directories.hpp"
#include "wire/interface.hpp"

namespace mox::tool {
namespace {

using Clock = std::chrono::steady_clock;

class Socket {
public:
    Socket() : descriptor_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        // The peer is told who sends, and decides by it.
        const int wanted = 1;
        setsockopt(descriptor_, SOL_SOCKET, SO_PASSCRED, &wanted, sizeof wanted);
    }
    ~Socket() {
        if (descriptor_ >= 0) close(descriptor_);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int get() const { return descriptor_; }

private:
    int descriptor_;
};

bool send_all(int descriptor, std::string_view text) {
    // So little that it fits the socket of a peer that takes nothing.
    return send(descriptor, text.data(), text.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(text.size());
}

enum class Received { something, end, nothing };

Received receive(int descriptor, Clock::time_point end) {
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd wanted = {descriptor, POLLIN, 0};
        const int result = poll(&wanted, 1, left > 0 ? static_cast<int>(left) : 0);
        if (result < 0 && errno == EINTR) continue;
        if (result <= 0) return Received::nothing;
        std::array<char, 4096> bytes{};
        return recv(descriptor, bytes.data(), bytes.size(), 0) > 0 ? Received::something
                                                                   : Received::end;
    }
}

std::string greeting() {
    const std::string user = std::to_string(geteuid());
    std::string text("\0AUTH EXTERNAL ", 15);
    for (const char digit : user) {
        std::array<char, 4> hex{};
        std::snprintf(hex.data(), hex.size(), "%02x", unsigned{static_cast<unsigned char>(digit)});
        text += hex.data();
    }
    return text + "\r\n";
}

// A call that only reads. Also its refusal is an answer.
std::string call() {
    GDBusMessage* const message = g_dbus_message_new_method_call(
        nullptr, host::wire::object_path, host::wire::interface_name, "PoolUsage");
    g_dbus_message_set_serial(message, 1);
    gsize size = 0;
    guchar* const blob =
        g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
    std::string bytes(reinterpret_cast<const char*>(blob), blob == nullptr ? 0 : size);
    g_free(blob);
    g_object_unref(message);
    return bytes;
}

// A peer that closes the connection is at work, too.
bool answers(int descriptor, int patience_ms) {
    const auto end = Clock::now() + std::chrono::milliseconds(patience_ms);
    if (!send_all(descriptor, greeting())) return false;
    const Received welcome = receive(descriptor, end);
    if (welcome != Received::something) return welcome == Received::end;
    if (!send_all(descriptor, "BEGIN\r\n" + call())) return false;
    return receive(descriptor, end) != Received::nothing;
}

}  // namespace

FoundOwner find_owner(const std::string& run_dir, int patience_ms) {
    const std::string path = host::wire::socket_path(run_dir);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return {};
    path.copy(address.sun_path, path.size());
    const Socket socket;
    FoundOwner owner;
    if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        // So many wait for it already that there is no room for one more.
        owner.listens = owner.is_silent = errno == EAGAIN;
        owner.user = geteuid();
        return owner;
    }
    ucred peer = {};
    socklen_t size = sizeof peer;
    if (getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return {};
    owner = {true, peer.pid, peer.uid, false, false};
    owner.is_silent = !answers(socket.get(), patience_ms);
    owner.is_stopped = owner.is_silent && state_of_process(peer.pid) == 'T';
    return owner;
}

char state_of_process(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line);
    // The name before it stands in parentheses and may hold anything.
    const std::size_t name_end = line.rfind(") ");
    return name_end == std::string::npos || name_end + 2 >= line.size() ? '\0' : line[name_end + 2];
}

}  // namespace mox::tool
