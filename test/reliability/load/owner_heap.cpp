#include "owner_heap.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "../run_options.hpp"
#include "host_owner.hpp"

namespace mox::test {

void allocate_without_caches(char** argv) {
    constexpr char kAllocator[] = "GLIBC_TUNABLES";
    constexpr char kWithoutCaches[] = "glibc.malloc.tcache_count=0:glibc.malloc.arena_max=1";
    const char* const set = std::getenv(kAllocator);
    if (set != nullptr && std::strcmp(set, kWithoutCaches) == 0) return;
    setenv(kAllocator, kWithoutCaches, 1);
    setenv("G_SLICE", "always-malloc", 1);
    execv("/proc/self/exe", argv);
    broken("cannot be started anew");
}

OwnerHeap::OwnerHeap(const std::filesystem::path& file) {
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    require(descriptor >= 0 && ftruncate(descriptor, sizeof(HeapPage)) == 0,
            "no file " + file.string());
    void* const mapped =
        mmap(nullptr, sizeof(HeapPage), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    require(mapped != MAP_FAILED, "no memory to share with moxd");
    page_ = static_cast<HeapPage*>(mapped);
    setenv(kHeapFileVariable, file.c_str(), 1);
    setenv("LD_PRELOAD", HEAP_REPORTER_PATH, 1);
}

OwnerHeap::~OwnerHeap() {
    munmap(page_, sizeof(HeapPage));
}

void OwnerHeap::stop_preloading() {
    unsetenv("LD_PRELOAD");
}

std::uint64_t OwnerHeap::bytes() {
    const unsigned wanted = ++page_->wanted;
    require(eventually([&] { return page_->told == wanted; }), "moxd does not tell its heap");
    return page_->bytes;
}

}  // namespace mox::test
