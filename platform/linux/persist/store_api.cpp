// The calls of moxplat/persist_store.h: the store is opened and closed here, and read as a host
// needs it at its start.
#include <moxplat/persist_store.h>

#include "argument_check.hpp"
#include "process_store.hpp"
#include "warning.hpp"

using namespace mox::persist;

gint32 cfg_store_open(const gchar* state_dir, const gchar* volatile_dir) {
    if (state_dir == nullptr || *state_dir == '\0') return PER_ERROR_PARA_0_INVALID;
    if (volatile_dir == nullptr || *volatile_dir == '\0') return PER_ERROR_PARA_1_INVALID;
    ProcessStore& process = process_store();
    const KeptWarnings warnings;
    const std::lock_guard<std::mutex> lock{process.mutex};
    if (process.store) return PER_ERROR_CFG_INIT_FAIL;
    auto store = std::make_unique<Store>();
    const gint32 code = store->open(state_dir, volatile_dir);
    if (store->is_open()) process.store = std::move(store);
    return code;
}

gint32 cfg_store_opened(PER_MODE_E per_mode) {
    if (!is_mode(per_mode)) return PER_ERROR_PARA_0_INVALID;
    return with_store([&](Store& store) { return store.opened(per_mode); });
}

void cfg_store_close(void) {
    ProcessStore& process = process_store();
    const KeptWarnings warnings;
    const std::lock_guard<std::mutex> lock{process.mutex};
    process.store.reset();
}

gint32 cfg_store_restore_defaults(void) {
    return with_store([](Store& store) { return store.restore_defaults(); });
}

gint32 cfg_newest_mode(const gchar* object_name, const gchar* name, gboolean has_prefix,
                       PER_MODE_E* per_mode) {
    const gint32 code = check_names(object_name, name);
    if (code != PER_OK) return code;
    if (per_mode == nullptr) return PER_ERROR_PARA_3_INVALID;
    return with_store([&](Store& store) {
        return store.newest_mode({object_name, name, has_prefix != FALSE}, *per_mode);
    });
}

gint32 cfg_status_read(const gchar* object_name, const gchar* property_name, guint32* state) {
    const gint32 code = check_names(object_name, property_name);
    if (code != PER_OK) return code;
    if (state == nullptr) return PER_ERROR_PARA_2_INVALID;
    return with_store(
        [&](Store& store) { return store.read_status(object_name, property_name, *state); });
}

void cfg_store_set_remote(const CFG_REMOTE_S* remote) {
    const bool is_whole =
        remote == nullptr ||
        (remote->save != nullptr && remote->read != nullptr && remote->is_saved != nullptr &&
         remote->status_save != nullptr && remote->status_remove != nullptr);
    if (!is_whole) {
        warn("calls to another process are not taken over: one of them is missing; set all five");
        return;
    }
    ProcessStore& process = process_store();
    const std::lock_guard<std::mutex> lock{process.mutex};
    process.remote = remote == nullptr ? std::nullopt : std::optional<CFG_REMOTE_S>{*remote};
}
