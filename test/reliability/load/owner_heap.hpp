// The bytes that an allocator has handed out, told to the byte: of this process and its forks, and
// of moxd through a library preloaded into it (heap_reporter.cpp).
#ifndef MOX_TEST_RELIABILITY_LOAD_OWNER_HEAP_HPP
#define MOX_TEST_RELIABILITY_LOAD_OWNER_HEAP_HPP

#include <cstdint>
#include <filesystem>

#include "heap_page.hpp"

namespace mox::test {

// Starts this program anew, once, with an allocator that keeps nothing back for later: neither the
// object library nor a thread has a cache, which would count as handed out. moxd inherits it.
void allocate_without_caches(char** argv);

// Programs that are started once it exists report into the file.
class OwnerHeap {
public:
    explicit OwnerHeap(const std::filesystem::path& file);
    ~OwnerHeap();
    OwnerHeap(const OwnerHeap&) = delete;
    OwnerHeap& operator=(const OwnerHeap&) = delete;

    // Programs that are started from here on do not report.
    static void stop_preloading();
    std::uint64_t bytes();

private:
    HeapPage* page_;
};

}  // namespace mox::test

#endif
