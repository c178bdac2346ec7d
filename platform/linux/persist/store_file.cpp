// Directories are synchronised after every change: a name that is only in memory would be lost with
// the power, and the values with it.
#include "store_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "warning.hpp"

namespace mox::persist {
namespace {

// What belongs to one database file; the file itself comes first: a log without its file is kept
// aside by the next start, a file without its log would come back with older values.
constexpr std::array<const char*, 3> parts = {"", "-wal", "-journal"};

std::string parent_of(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

gint32 synchronise_directory(const std::string& path) {
    const int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // File systems that cannot synchronise a directory say EINVAL.
    if (directory >= 0 && (::fsync(directory) == 0 || errno == EINVAL)) {
        ::close(directory);
        return PER_OK;
    }
    warn("%s: the directory cannot be synchronised: %s", path.c_str(), g_strerror(errno));
    if (directory >= 0) ::close(directory);
    return PER_ERROR_FILE_WRITE_FAIL;
}

// What cannot be looked at counts as there: it must not be replaced.
bool exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 || errno != ENOENT;
}

bool is_taken(const std::string& name) {
    for (const char* part : parts) {
        if (exists(name + part)) return true;
    }
    return false;
}

gint32 make_one_directory(const std::string& path) {
    if (::mkdir(path.c_str(), 0700) == 0) {
        const gint32 code = synchronise_directory(parent_of(path));
        // The next try makes it anew, and does not take it for one that is on the storage.
        if (code != PER_OK) ::rmdir(path.c_str());
        return code;
    }
    struct stat status {};
    const int cause = errno;
    if (::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return PER_OK;
    warn("%s: the directory cannot be made: %s", path.c_str(), g_strerror(cause));
    return cause == ENOSPC || cause == EROFS ? PER_ERROR_FILE_WRITE_FAIL : PER_ERROR_FILE_OPEN_FAIL;
}

}  // namespace

gint32 make_directory(const std::string& path) {
    for (std::size_t end = path.find('/', 1); end != std::string::npos;
         end = path.find('/', end + 1)) {
        const gint32 code = make_one_directory(path.substr(0, end));
        if (code != PER_OK) return code;
    }
    const bool was_there = exists(path);
    const gint32 code = make_one_directory(path);
    const std::string parent = parent_of(path);
    // Whoever made it may have been killed before its name was on the storage. Where the parent
    // cannot be listed, it was not made here.
    const bool is_in_doubt = code == PER_OK && was_there && ::access(parent.c_str(), R_OK) == 0;
    return is_in_doubt ? synchronise_directory(parent) : code;
}

gint32 make_file(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file >= 0) {
        ::close(file);
        return synchronise_directory(parent_of(path));
    }
    const int cause = errno;
    struct stat status {};
    if (cause == EEXIST && ::stat(path.c_str(), &status) == 0) {
        // Whoever made it may have been killed before its name was on the storage. A directory that
        // cannot be listed cannot be synchronised either.
        if (S_ISREG(status.st_mode)) {
            const std::string parent = parent_of(path);
            return ::access(parent.c_str(), R_OK) == 0 ? synchronise_directory(parent) : PER_OK;
        }
        warn("%s: something that is no file is in the way", path.c_str());
        return PER_ERROR_FILE_OPEN_FAIL;
    }
    warn("%s: the file cannot be made: %s", path.c_str(), g_strerror(cause));
    return cause == ENOSPC || cause == EROFS ? PER_ERROR_FILE_WRITE_FAIL : PER_ERROR_FILE_OPEN_FAIL;
}

bool has_lost_its_file(const std::string& path) {
    struct stat file {};
    struct stat log {};
    const bool is_gone = ::stat(path.c_str(), &file) != 0 && errno == ENOENT;
    const bool is_empty = !is_gone && S_ISREG(file.st_mode) && file.st_size == 0;
    return (is_gone || is_empty) && ::stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0;
}

gint32 set_aside(const std::string& path) {
    constexpr guint most_kept = 1000;
    guint number = 1;
    std::string name = path + ".damaged-1";
    while (is_taken(name) && number < most_kept) {
        name = path + ".damaged-" + std::to_string(++number);
    }
    if (is_taken(name)) {
        warn("%s: damaged, and no name is free to keep it aside: remove old %s.damaged-* files",
             path.c_str(), path.c_str());
        return PER_ERROR_FILE_WRITE_FAIL;
    }
    for (const char* part : parts) {
        const std::string from = path + part;
        if (std::rename(from.c_str(), (name + part).c_str()) != 0 && errno != ENOENT) {
            warn("%s: damaged, and cannot be kept aside: %s", from.c_str(), g_strerror(errno));
            return PER_ERROR_FILE_WRITE_FAIL;
        }
    }
    warn("%s: damaged; kept aside as %s, the store goes on without it", path.c_str(), name.c_str());
    return synchronise_directory(parent_of(path));
}

}  // namespace mox::persist
