// What every fuzz target has: the two functions that libFuzzer, or the replay's main, calls.
#ifndef MOX_TEST_FUZZ_TARGET_HPP
#define MOX_TEST_FUZZ_TARGET_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Runs the code under test on one input; returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Prepares the process once, before the first input; only some targets have it. Returns 0.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace mox::fuzz {

// Ends the program, as a finding, when something that callers rely on does not hold.
inline void promise(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "broken promise: %s\n", what);
        std::abort();
    }
}

}  // namespace mox::fuzz

#endif
