// What the soak and the library it preloads into moxd share: a page of a file, where the one asks
// for the bytes that the other's allocator has handed out.
#ifndef MOX_TEST_RELIABILITY_LOAD_HEAP_PAGE_HPP
#define MOX_TEST_RELIABILITY_LOAD_HEAP_PAGE_HPP

#include <atomic>
#include <cstdint>

namespace mox::test {

// The environment variable with the path of the file.
constexpr char kHeapFileVariable[] = "MOX_TEST_HEAP_FILE";

struct HeapPage {
    std::atomic<unsigned> wanted;  // counted up by who asks
    std::atomic<unsigned> told;    // equal to it once `bytes` is the answer
    std::atomic<std::uint64_t> bytes;
};

}  // namespace mox::test

#endif
