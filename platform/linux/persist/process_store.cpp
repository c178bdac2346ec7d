// The mutex is held across a fork, so that the child finds it free and the store at rest.
#include "process_store.hpp"

#include <pthread.h>

namespace mox::persist {
namespace {

void before_fork() {
    process_store().mutex.lock();
}

void after_fork_in_parent() {
    process_store().mutex.unlock();
}

void after_fork_in_child() {
    ProcessStore& process = process_store();
    if (process.store) process.of_parents.push_back(process.store.release());
    process.mutex.unlock();
}

}  // namespace

ProcessStore& process_store() {
    // Never destroyed: threads may still use the store while the process ends.
    static ProcessStore* const state = [] {
        // The only failure is a lack of memory, which GLib programs do not survive either.
        if (pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child) != 0) {
            g_error("no memory for the fork handlers");
        }
        return new ProcessStore;
    }();
    return *state;
}

}  // namespace mox::persist
