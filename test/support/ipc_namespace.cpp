#include "ipc_namespace.hpp"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace mox::test {
namespace {

bool write_file(const char* path, const std::string& text) {
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(file);
    return written;
}

std::string error_text(const char* what) {
    return std::string(what) + ": " + std::strerror(errno);
}

}  // namespace

std::string enter_ipc_namespace() {
    if (geteuid() == 0) {
        if (unshare(CLONE_NEWIPC) != 0) {
            return error_text("unshare(CLONE_NEWIPC)");
        }
    } else {
        const std::string user = std::to_string(getuid());
        const std::string group = std::to_string(getgid());
        if (unshare(CLONE_NEWUSER | CLONE_NEWIPC) != 0) {
            return error_text("unshare(CLONE_NEWUSER|CLONE_NEWIPC), are user namespaces allowed?");
        }
        if (!write_file("/proc/self/setgroups", "deny") ||
            !write_file("/proc/self/uid_map", "0 " + user + " 1") ||
            !write_file("/proc/self/gid_map", "0 " + group + " 1")) {
            return error_text("mapping the user into its namespace");
        }
    }
    if (!write_file("/proc/sys/kernel/msgmax", "16384") ||
        !write_file("/proc/sys/kernel/msgmnb", "262144")) {
        return error_text("raising the message limits of the namespace");
    }
    return {};
}

}  // namespace mox::test
