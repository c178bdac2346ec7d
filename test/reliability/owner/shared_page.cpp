// The page goes with its file, which the first process removes.
#include "shared_page.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <new>

namespace mox::kill_owner {
namespace {

SharedPage* mapped = nullptr;

std::int64_t clock_ns() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void* map_file(const std::string& path, int flags) {
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC | flags, 0600);
    void* memory = MAP_FAILED;
    if (file >= 0 && ftruncate(file, sizeof(SharedPage)) == 0) {
        memory = mmap(nullptr, sizeof(SharedPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    }
    if (memory == MAP_FAILED) {
        std::fprintf(stderr, "the page %s cannot be mapped: %s\n", path.c_str(),
                     std::strerror(errno));
        _exit(1);
    }
    close(file);
    return memory;
}

}  // namespace

void make_page(const std::string& path) {
    mapped = new (map_file(path, O_CREAT | O_EXCL)) SharedPage{};
    mapped->made_ns = clock_ns();
}

void map_page(const std::string& path) {
    mapped = static_cast<SharedPage*>(map_file(path, 0));
}

SharedPage& page() {
    return *mapped;
}

std::uint32_t now_us() {
    return static_cast<std::uint32_t>((clock_ns() - page().made_ns) / 1000) + 1;
}

void fail_here(const std::string& text) {
    std::uint32_t none = 0;
    if (page().failures.compare_exchange_strong(none, 1)) {
        std::snprintf(page().failure.data(), page().failure.size(), "%s", text.c_str());
        page().failures = 2;
    }
    _exit(1);
}

std::string failure_of_others() {
    return page().failures == 2 ? page().failure.data() : "";
}

}  // namespace mox::kill_owner
