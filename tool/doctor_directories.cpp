// What moxd asks of a run directory is asked here in its words. The state directory is made with
// its parents, so the nearest one that exists decides.
#include "doctor_directories.hpp"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

#include "glib_owners.hpp"
#include "wire/directories.hpp"

namespace mox::tool {
namespace {

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

// Why a directory cannot be made in another one; nothing when it can.
std::optional<std::string> hindrance(const std::string& parent) {
    struct stat status = {};
    if (stat(parent.c_str(), &status) != 0) return parent + ": " + error_text(errno);
    if (!S_ISDIR(status.st_mode)) return parent + " is not a directory";
    if (!may_make_files_in(parent)) return parent + ": " + error_text(errno);
    return std::nullopt;
}

std::string user() {
    return std::to_string(geteuid());
}

std::string make_command(const std::string& path) {
    return "install -d -m 700 -o " + user() + " " + path + " as root";
}

Finding check_missing(const char* name, const std::string& path, const std::string& parent,
                      Verdict when_impossible, const std::string& other_option) {
    const std::optional<std::string> cause = hindrance(parent);
    if (!cause) return {name, Verdict::ok, path + " is not there, it can be made", ""};
    return {name, when_impossible, path + " is not there and cannot be made: " + *cause,
            make_command(path) + "; or give another " + other_option};
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
                "rm " + path + "; or give another --run-dir"};
    }
    if (status.st_uid != geteuid()) {
        return {name, Verdict::fail,
                path + " belongs to user " + std::to_string(status.st_uid) + ", not to " + user(),
                "chown " + user() + " " + path +
                    " as root; or run as that user; or give another --run-dir"};
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        return {name, Verdict::fail, path + " is writable by others", "chmod 700 " + path};
    }
    if (!may_make_files_in(path)) {
        return {name, Verdict::fail, path + " cannot be written: " + error_text(errno),
                "chmod 700 " + path};
    }
    return {name, Verdict::ok, path + " is this user's", ""};
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
                "rm " + path + "; or give another --state-dir"};
    }
    if (!may_make_files_in(path)) {
        return {name, Verdict::warn,
                path + " cannot be written: " + error_text(errno) + "; nothing lasting is saved",
                "chown " + user() + " " + path + " as root; chmod 700 " + path};
    }
    return {name, Verdict::ok, path + " can be written", ""};
}

}  // namespace mox::tool
