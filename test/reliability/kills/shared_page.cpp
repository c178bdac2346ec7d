// The page goes with its last process.
#include "shared_page.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <new>

namespace mox::kills {

SharedPage& shared_page() {
    static SharedPage* const page = [] {
        void* const memory = mmap(nullptr, sizeof(SharedPage), PROT_READ | PROT_WRITE,
                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw Failed("no memory to share between the processes of the run");
        }
        return new (memory) SharedPage{};
    }();
    return *page;
}

std::uint32_t now_ms() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(
               std::chrono::duration_cast<std::chrono::milliseconds>(now).count()) |
           1U;
}

void fail_here(const std::string& text) {
    SharedPage& page = shared_page();
    std::int32_t none = 0;
    if (page.failures.compare_exchange_strong(none, 1)) {
        std::snprintf(page.failure, sizeof page.failure, "%s", text.c_str());
        page.failures.store(2);
    }
    _exit(1);
}

void throw_failure_of_others() {
    if (shared_page().failures.load() == 2) {
        throw Failed(shared_page().failure);
    }
}

}  // namespace mox::kills
