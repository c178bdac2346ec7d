// A module's ports go before its queue: a sender that still met the port of a deleted queue would
// stop there and leave the listeners behind it without the event.
#include "owner/module_registry.hpp"

#include <lom.h>
#include <moxplat/osal.h>
#include <pub.h>

#include "owner/lost_messages.hpp"
#include "owner/sent_events.hpp"

namespace mox::host {

gint32 make_queue() {
    gint32 queue_id = -1;
    const gint32 result = osal_process_queue_create(&queue_id);
    if (result != OSAL_OK) {
        pub_debug_print(MX_DBG_ERR, "no message queue: %s (%d).\n", osal_error_text(result),
                        result);
        return 0;
    }
    return queue_id;
}

ModuleRegistry::ModuleRegistry(std::string owner_name, ListenerLists& lists,
                               RemovedObjects& removed)
    : owner_name_(std::move(owner_name)), lists_(lists), removed_(removed) {}

std::variant<const JoinedModule*, std::string> ModuleRegistry::join(const std::string& name,
                                                                    MOX_MODULE_TYPE type,
                                                                    gint32 pid) {
    if (name == owner_name_) {
        return "the name \"" + name + "\" is the owner's own; join under another name";
    }
    gint32 free_id = 0;
    for (gint32 id = highest_bitmap_id; id >= lowest_bitmap_id; --id) {
        const std::optional<JoinedModule>& taken = modules_[static_cast<std::size_t>(id)];
        if (!taken) {
            free_id = id;
        } else if (taken->name == name) {
            return "a module named \"" + name + "\" has joined already (process " +
                   std::to_string(taken->pid) + "); join under another name";
        }
    }
    if (free_id == 0) {
        return "all " + std::to_string(highest_bitmap_id) +
               " places for modules are taken; let one leave first";
    }
    const gint32 queue_id = make_queue();
    if (queue_id == 0) {
        return std::string("the owner could not make a message queue (its log says why)");
    }
    std::optional<JoinedModule>& place = modules_[static_cast<std::size_t>(free_id)];
    place = JoinedModule{name, type, pid, free_id, queue_id, g_get_real_time(), ++joins_};
    count_lost_for(free_id, queue_id);
    pub_debug_print(MX_DBG_INSIGHT, "module %s joined: pid %d, bitmap id %d, queue %d.\n",
                    name.c_str(), pid, free_id, queue_id);
    return &*place;
}

const JoinedModule* ModuleRegistry::find(gint32 bitmap_id) const {
    if (bitmap_id < lowest_bitmap_id || bitmap_id > highest_bitmap_id) {
        return nullptr;
    }
    const std::optional<JoinedModule>& place = modules_[static_cast<std::size_t>(bitmap_id)];
    return place ? &*place : nullptr;
}

std::vector<const JoinedModule*> ModuleRegistry::all() const {
    std::vector<const JoinedModule*> result;
    for (const std::optional<JoinedModule>& module : modules_) {
        if (module) {
            result.push_back(&*module);
        }
    }
    return result;
}

void ModuleRegistry::leave(gint32 bitmap_id) {
    if (find(bitmap_id) == nullptr) {
        return;
    }
    std::optional<JoinedModule>& place = modules_[static_cast<std::size_t>(bitmap_id)];
    lom_batch_unref(bitmap_id);
    removed_.release(bitmap_id);
    removed_.reclaim();
    lists_.remove_port(place->queue_id);
    end_count_for(bitmap_id);
    const gint32 result = osal_process_queue_delete(place->queue_id);
    if (result != OSAL_OK) {
        pub_debug_print(MX_DBG_ERR, "queue %d of module %s not deleted: %s (%d).\n",
                        place->queue_id, place->name.c_str(), osal_error_text(result), result);
    }
    forget_queue(place->queue_id);
    pub_debug_print(MX_DBG_INSIGHT, "module %s left: bitmap id %d, queue %d.\n",
                    place->name.c_str(), bitmap_id, place->queue_id);
    place.reset();
}

void ModuleRegistry::leave_all() {
    for (gint32 id = lowest_bitmap_id; id <= highest_bitmap_id; ++id) {
        leave(id);
    }
}

}  // namespace mox::host
