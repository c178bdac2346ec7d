// The lock goes with the process that holds it, however it ends. Its file is removed while it is
// held, so whoever gets the lock looks whether the file is still the one in the directory.
#include "owner/run_dir.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "owner/start_error.hpp"

namespace mox::host {
namespace {

// Otherwise a file with a large inode number could not be looked at on 32-bit.
static_assert(sizeof(ino_t) == 8);

constexpr mode_t private_mode = 0700;
constexpr mode_t lock_mode = 0600;
constexpr mode_t all_modes = 0777;

std::string error_text(int error) {
    return std::generic_category().message(error);
}

bool is_same_file(int descriptor, const std::string& path) {
    struct stat held = {};
    struct stat named = {};
    return fstat(descriptor, &held) == 0 && lstat(path.c_str(), &named) == 0 &&
           held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

}  // namespace

RunDir::RunDir(std::string path, const std::optional<OwnerGroup>& group)
    : path_(std::move(path)), lock_path_(path_ + "/moxd.lock") {
    make();
    try {
        check();
        lock();
        if (group) {
            let_pass(*group);
        }
    } catch (const StartError&) {
        if (lock_ >= 0) {
            unlink(lock_path_.c_str());
            close(lock_);
        }
        if (is_made_here_) {
            rmdir(path_.c_str());
        }
        throw;
    }
}

RunDir::~RunDir() {
    unlink(lock_path_.c_str());
    close(lock_);
    if (is_made_here_) {
        rmdir(path_.c_str());
    }
}

void RunDir::make() {
    if (mkdir(path_.c_str(), private_mode) == 0) {
        is_made_here_ = true;
    } else if (errno != EEXIST) {
        throw StartError{"run directory " + path_ + " cannot be made: " + error_text(errno)};
    }
}

void RunDir::check() const {
    struct stat status = {};
    if (lstat(path_.c_str(), &status) != 0) {
        throw StartError{"run directory " + path_ + " cannot be looked at: " + error_text(errno)};
    }
    if (!S_ISDIR(status.st_mode)) {
        throw StartError{"run directory " + path_ + " is not a directory"};
    }
    if (status.st_uid != geteuid()) {
        throw StartError{"run directory " + path_ + " belongs to user " +
                         std::to_string(status.st_uid) + ", not to this one (" +
                         std::to_string(geteuid()) + "); give another --run-dir"};
    }
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw StartError{"run directory " + path_ + " is writable by others; chmod 700 it"};
    }
}

void RunDir::let_pass(const OwnerGroup& group) const {
    const int directory = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat status = {};
    if (directory >= 0) {
        errno = EPERM;  // stands when the directory has become another user's meanwhile
    }
    const bool is_done = directory >= 0 && fstat(directory, &status) == 0 &&
                         status.st_uid == geteuid() &&
                         fchown(directory, static_cast<uid_t>(-1), group.id) == 0 &&
                         fchmod(directory, (status.st_mode & all_modes) | S_IXGRP) == 0;
    const int error = errno;
    if (directory >= 0) {
        close(directory);
    }
    if (!is_done) {
        throw StartError{"run directory " + path_ + " cannot be opened to group " + group.name +
                         ": " + error_text(error)};
    }
}

void RunDir::lock() {
    for (;;) {
        lock_ = open(lock_path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, lock_mode);
        if (lock_ < 0) {
            throw StartError{lock_path_ + " cannot be opened: " + error_text(errno)};
        }
        if (flock(lock_, LOCK_EX | LOCK_NB) != 0) {
            close(lock_);
            lock_ = -1;
            throw StartError{"another owner holds the run directory " + path_ +
                             "; stop it or give another --run-dir"};
        }
        if (is_same_file(lock_, lock_path_)) {
            return;
        }
        close(lock_);
    }
}

}  // namespace mox::host
