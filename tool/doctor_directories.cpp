// What moxd asks of a run directory is asked here in its words. The state directory is made with
// its parents, so the nearest one that exists decides.
#include "doctor_directories.hpp"

#include <fcntl.h>
#include <glib.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

#include "glib_owners.hpp"
#include "wire/directories.hpp"

namespace mox::tool {
namespace {

// Otherwise a file with a large inode number could not be looked at on 32-bit.
static_assert(sizeof(ino_t) == 8);

std::string error_text(int error) {
    return std::generic_category().message(error);
}

std::string parent_of(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

bool may_make_files_in(const std::string& path) {
    return faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

// There, permissions tell root nothing.
bool is_of_kernel(const std::string& path) {
    struct statfs system = {};
    return statfs(path.c_str(), &system) == 0 &&
           (system.f_type == PROC_SUPER_MAGIC || system.f_type == SYSFS_MAGIC);
}

// Why a directory cannot be made in another one; nothing when it can.
std::optional<std::string> hindrance(const std::string& parent) {
    struct stat status = {};
    if (stat(parent.c_str(), &status) != 0) return parent + ": " + error_text(errno);
    if (!S_ISDIR(status.st_mode)) return parent + " is not a directory";
    if (!may_make_files_in(parent)) return parent + ": " + error_text(errno);
    if (is_of_kernel(parent)) return parent + " is the kernel's own and holds no files";
    return std::nullopt;
}

std::string user() {
    return std::to_string(geteuid());
}

std::string quoted(const std::string& path) {
    const TextPtr text{g_shell_quote(path.c_str())};
    return text.get();
}

std::string remove_command(const std::string& path) {
    return "rm -- " + quoted(path);
}

std::string give_command(const std::string& path) {
    return "chown -- " + user() + " " + quoted(path);
}

std::string close_command(const std::string& path) {
    return "chmod -- 700 " + quoted(path);
}

Finding check_missing(const char* name, const std::string& path, const std::string& parent,
                      Verdict when_impossible, const std::string& other_option) {
    const std::optional<std::string> cause = hindrance(parent);
    if (!cause) return {name, Verdict::ok, path + " is not there; moxd makes it"};
    const std::string found = path + " is not there and cannot be made: " + *cause;
    if (is_of_kernel(parent)) return {name, when_impossible, found, "give another " + other_option};
    return {name, when_impossible, found, "make it as root, or give another " + other_option,
            "install -d -m 700 -o " + user() + " -- " + quoted(path)};
}

// Whether the socket that lies there is open to this user, as it is to a member of an owner's
// group; to root everything is.
bool is_let_in(const std::string& run_dir) {
    return geteuid() != 0 &&
           faccessat(AT_FDCWD, host::wire::socket_path(run_dir).c_str(), W_OK, AT_EACCESS) == 0;
}

}  // namespace

Finding check_run_directory(const std::string& path) {
    const char* const name = "run-dir";
    if (host::wire::socket_address(path).empty()) {
        return {name, Verdict::fail, path + " is too long a path for a socket",
                "give a shorter --run-dir"};
    }
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) {
            return {name, Verdict::fail, path + " cannot be looked at: " + error_text(errno),
                    "give another --run-dir"};
        }
        return check_missing(name, path, parent_of(path), Verdict::fail, "--run-dir");
    }
    if (!S_ISDIR(status.st_mode)) {
        return {name, Verdict::fail, path + " is not a directory",
                "remove it, or give another --run-dir", remove_command(path)};
    }
    if (status.st_uid != geteuid()) {
        if (is_let_in(path)) {
            return {name, Verdict::ok,
                    path + " belongs to user " + std::to_string(status.st_uid) +
                        ", whose owner may be joined by " + user()};
        }
        return {name, Verdict::fail,
                path + " belongs to user " + std::to_string(status.st_uid) + ", not to " + user(),
                "give it to this user as root; or run as that user; or give another --run-dir",
                give_command(path)};
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return {name, Verdict::fail, path + " is writable by others", "keep the others out",
                close_command(path)};
    }
    if (!may_make_files_in(path)) {
        return {name, Verdict::fail, path + " cannot be written: " + error_text(errno),
                "let its owner write", close_command(path)};
    }
    return {name, Verdict::ok, path + " is this user's"};
}

Finding check_state_directory(const std::string& path) {
    const char* const name = "state-dir";
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        std::string parent = parent_of(path);
        while (parent != "/" && stat(parent.c_str(), &status) != 0 && errno == ENOENT) {
            parent = parent_of(parent);
        }
        Finding finding = check_missing(name, path, parent, Verdict::warn, "--state-dir");
        if (finding.verdict != Verdict::ok) finding.found += "; nothing lasting is saved";
        return finding;
    }
    if (!S_ISDIR(status.st_mode)) {
        return {name, Verdict::warn, path + " is not a directory; nothing lasting is saved",
                "remove it, or give another --state-dir", remove_command(path)};
    }
    if (!may_make_files_in(path)) {
        return {name, Verdict::warn,
                path + " cannot be written: " + error_text(errno) + "; nothing lasting is saved",
                "give it to this user as root, or give another --state-dir", give_command(path)};
    }
    return {name, Verdict::ok, path + " can be written"};
}

}  // namespace mox::tool
