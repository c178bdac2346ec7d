// Preloaded into moxd by the soak: tells what its allocator has handed out. Nobody outside a
// process can ask that, and the memory the system gave it grows with every new peak, leak or not.
//
// A thread of its own answers a counter in a shared file (heap_page.hpp); it takes no signal of the
// program's and allocates nothing.
#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "heap_page.hpp"

namespace mox::test {
namespace {

void* answer(void* mapped) {
    auto& page = *static_cast<HeapPage*>(mapped);
    while (true) {
        const unsigned wanted = page.wanted;
        if (page.told != wanted) {
            const struct mallinfo2 info = mallinfo2();
            page.bytes = info.uordblks + info.hblkhd;
            page.told = wanted;
        }
        usleep(2000);
    }
}

[[noreturn]] void refuse(const char* what) {
    std::perror(what);
    _exit(126);
}

__attribute__((constructor)) void start_answering() {
    const char* const path = std::getenv(kHeapFileVariable);
    if (path == nullptr) refuse("heap reporter: no file is named");
    const int file = open(path, O_RDWR | O_CLOEXEC);
    void* const mapped =
        mmap(nullptr, sizeof(HeapPage), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (mapped == MAP_FAILED) refuse("heap reporter: the shared file");
    close(file);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const int failure = pthread_create(&thread, nullptr, answer, mapped);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (failure != 0) refuse("heap reporter: its thread");
}

}  // namespace
}  // namespace mox::test
