// The store of this process, or the process that answers in its place.
//
// What holds: one mutex around every use of the store, never around a call to another process or a
// line of the log. A forked child starts without its parent's store: two processes must not use one
// connection.
#ifndef MOXPLAT_LINUX_PERSIST_PROCESS_STORE_HPP
#define MOXPLAT_LINUX_PERSIST_PROCESS_STORE_HPP

#include <moxplat/persist_store.h>

#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "store.hpp"
#include "warning.hpp"

namespace mox::persist {

struct ProcessStore {
    std::mutex mutex;
    // All under the mutex:
    std::unique_ptr<Store> store;
    std::optional<CFG_REMOTE_S> remote;
    // Never closed in this process: that would touch the parent's files.
    std::vector<Store*> of_parents;
};

// Lives as long as the process.
ProcessStore& process_store();

// Runs `local(store)` under the mutex, or PER_ERROR_CFG_INIT_FAIL without an open store.
template <typename Local>
gint32 with_store(Local&& local) {
    ProcessStore& process = process_store();
    const KeptWarnings warnings;
    const std::lock_guard<std::mutex> lock{process.mutex};
    return process.store ? local(*process.store) : gint32{PER_ERROR_CFG_INIT_FAIL};
}

// The same, but without an open store `remote(calls)` answers, when another process does.
template <typename Local, typename Remote>
gint32 with_store_or_remote(Local&& local, Remote&& remote) {
    CFG_REMOTE_S calls{};
    {
        ProcessStore& process = process_store();
        const KeptWarnings warnings;
        const std::lock_guard<std::mutex> lock{process.mutex};
        if (process.store) return local(*process.store);
        if (!process.remote) return PER_ERROR_CFG_INIT_FAIL;
        calls = *process.remote;
    }
    return remote(calls);
}

}  // namespace mox::persist

#endif
