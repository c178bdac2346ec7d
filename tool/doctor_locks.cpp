// The child takes the lock and ends without giving it back; the kernel's list of robust locks is
// what hands it to the next taker.
#include "doctor_locks.hpp"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <new>
#include <system_error>
#include <thread>

namespace mox::tool {
namespace {

// A mutex that parent and child share.
class SharedMutex {
public:
    explicit SharedMutex(int robustness)
        : page_(mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE,
                     MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
        if (page_ == MAP_FAILED) throw std::bad_alloc();
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
        pthread_mutexattr_setrobust(&attributes, robustness);
        pthread_mutex_init(get(), &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    // A dead process may hold it: it is not destroyed, its memory goes.
    ~SharedMutex() { munmap(page_, sizeof(pthread_mutex_t)); }
    SharedMutex(const SharedMutex&) = delete;
    SharedMutex& operator=(const SharedMutex&) = delete;

    pthread_mutex_t* get() const { return static_cast<pthread_mutex_t*>(page_); }

private:
    void* page_;
};

bool child_dies_with(pthread_mutex_t* mutex) {
    const pid_t child = fork();
    if (child == 0) _exit(pthread_mutex_lock(mutex));
    int status = -1;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

int take_after_death(int robustness) {
    const SharedMutex mutex(robustness);
    if (!child_dies_with(mutex.get())) return ECHILD;
    int result = EBUSY;
    for (int tries = 0; tries < 100 && result == EBUSY; ++tries) {
        if (tries > 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        result = pthread_mutex_trylock(mutex.get());
    }
    if (result == EOWNERDEAD) pthread_mutex_consistent(mutex.get());
    if (result == 0 || result == EOWNERDEAD) pthread_mutex_unlock(mutex.get());
    return result;
}

Finding judge_take_after_death(int result) {
    const char* const name = "locks";
    if (result == EOWNERDEAD) {
        return {name, Verdict::ok, "a lock whose holder died goes to the next taker, who is told"};
    }
    const std::string cure =
        "boot a kernel where this says y, and run on the machine itself, not under user-mode "
        "emulation";
    const std::string command = "zgrep CONFIG_FUTEX= /proc/config.gz";
    if (result == 0) {
        return {name, Verdict::fail, "a lock whose holder died is free again, but nobody is told",
                cure, command};
    }
    if (result == EBUSY) {
        return {name, Verdict::fail,
                "a lock whose holder died stays taken: whoever wants it waits for ever", cure,
                command};
    }
    return {name, Verdict::fail,
            "locks between processes do not work: " + std::generic_category().message(result), cure,
            command};
}

Finding check_locks() {
    return judge_take_after_death(take_after_death(PTHREAD_MUTEX_ROBUST));
}

}  // namespace mox::tool
