// The state outlives every thread and is consistent in a forked child: the mutex is held across the
// fork.
#include "layer_state.hpp"

#include "thread_id.hpp"

#include <pthread.h>

namespace mox::osal {

namespace {

void before_fork() {
    layer_state().mutex.lock();
}

void after_fork_in_parent() {
    layer_state().mutex.unlock();
}

void after_fork_in_child() {
    LayerState& state = layer_state();
    state.sets.clear();
    state.freed.clear();
    state.queues.clear();
    state.mode = 0600;
    state.mutex.unlock();
    forget_thread_id();
}

}  // namespace

LayerState& layer_state() {
    // Never destroyed: threads may still use the layer while the process ends.
    static LayerState* const state = [] {
        // The only failure is a lack of memory, which GLib programs do not survive either.
        if (pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child) != 0)
            g_error("no memory for the fork handlers");
        return new LayerState;
    }();
    return *state;
}

}  // namespace mox::osal
