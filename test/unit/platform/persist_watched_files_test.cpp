// The functions behind watched_files.hpp, and a test that they see what they are there to see.
#include <dlfcn.h>
#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <mutex>
#include <string_view>
#include <vector>

#include "persist_fixture.hpp"
#include "watched_files.hpp"

namespace mox::test {
namespace {

struct Watch {
    std::mutex mutex;
    // All under the mutex:
    std::vector<std::string> endings;
    FileCounts counts;
    std::vector<std::string> dirty;  // one entry for each write that is not synchronised
    std::string redirected;
    std::string instead;
};

Watch& watch() {
    static Watch* const the_watch = new Watch;
    return *the_watch;
}

std::string path_of(int file) {
    std::array<char, 512> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    const ssize_t length = readlink(link.c_str(), path.data(), path.size());
    return length <= 0 ? std::string{} : std::string(path.data(), static_cast<std::size_t>(length));
}

bool is_watched(const Watch& now, const std::string& path) {
    return std::any_of(now.endings.begin(), now.endings.end(), [&](const std::string& ending) {
        return path.size() >= ending.size() &&
               path.compare(path.size() - ending.size(), ending.size(), ending) == 0;
    });
}

void note_write(int file) {
    Watch& now = watch();
    const std::lock_guard<std::mutex> lock{now.mutex};
    if (now.endings.empty()) return;
    const std::string path = path_of(file);
    if (!is_watched(now, path)) return;
    ++now.counts.writes;
    now.dirty.push_back(path);
}

void note_synchronised(int file) {
    Watch& now = watch();
    const std::lock_guard<std::mutex> lock{now.mutex};
    if (now.endings.empty()) return;
    const std::string path = path_of(file);
    if (!is_watched(now, path)) return;
    ++now.counts.synchronised;
    now.dirty.erase(std::remove(now.dirty.begin(), now.dirty.end(), path), now.dirty.end());
}

std::string stream_path(const char* path) {
    Watch& now = watch();
    const std::lock_guard<std::mutex> lock{now.mutex};
    return now.redirected == path ? now.instead : path;
}

template <typename Function>
Function* next_of(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void watch_files(const std::string& ending, const std::string& other_ending) {
    Watch& now = watch();
    const std::lock_guard<std::mutex> lock{now.mutex};
    now.endings = {ending, other_ending};
    now.counts = {};
    now.dirty.clear();
}

FileCounts watched_files() {
    Watch& now = watch();
    const std::lock_guard<std::mutex> lock{now.mutex};
    FileCounts counts = now.counts;
    counts.unsynchronised = static_cast<int>(now.dirty.size());
    return counts;
}

void redirect_stream(const std::string& path, const std::string& instead) {
    Watch& now = watch();
    const std::lock_guard<std::mutex> lock{now.mutex};
    now.redirected = path;
    now.instead = instead;
}

namespace {

class WatchedFiles : public PersistTest {};

TEST_F(WatchedFiles, CountWritesAndTheirSynchronisation) {
    const int file = open(path_of("x.db").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const int other = open(path_of("y").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    watch_files(".db", "-wal");
    ASSERT_EQ(pwrite64(file, "x", 1, 0), 1);
    ASSERT_EQ(pwrite64(other, "x", 1, 0), 1);
    EXPECT_EQ(watched_files().writes, 1);
    EXPECT_EQ(watched_files().unsynchronised, 1);
    ASSERT_EQ(fdatasync(file), 0);
    ASSERT_EQ(fdatasync(other), 0);
    EXPECT_EQ(watched_files().synchronised, 1);
    EXPECT_EQ(watched_files().unsynchronised, 0);
    close(file);
    close(other);
}

}  // namespace
}  // namespace mox::test

// Take the C library's place in this program and for the shared libraries it loads.
extern "C" {

__attribute__((visibility("default"))) int fdatasync(int file) {
    static auto* const real = mox::test::next_of<int(int)>("fdatasync");
    const int result = real(file);
    if (result == 0) mox::test::note_synchronised(file);
    return result;
}

__attribute__((visibility("default"))) ssize_t pwrite64(int file, const void* data, size_t size,
                                                        off64_t offset) {
    static auto* const real =
        mox::test::next_of<ssize_t(int, const void*, size_t, off64_t)>("pwrite64");
    const ssize_t result = real(file, data, size, offset);
    if (result > 0) mox::test::note_write(file);
    return result;
}

__attribute__((visibility("default"))) FILE* fopen64(const char* path, const char* mode) {
    static auto* const real = mox::test::next_of<FILE*(const char*, const char*)>("fopen64");
    return real(mox::test::stream_path(path).c_str(), mode);
}

__attribute__((visibility("default"))) FILE* fopen(const char* path, const char* mode) {
    static auto* const real = mox::test::next_of<FILE*(const char*, const char*)>("fopen");
    return real(mox::test::stream_path(path).c_str(), mode);
}

}  // extern "C"
