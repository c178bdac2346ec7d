// This program defines osal_process_queue_send itself, in front of the operating-system layer's:
// the dynamic linker gives a program's definition to every library that calls the name, so each
// send of the object core passes through here. The call is forwarded unchanged to the next
// definition in the search order, the layer's; a property event that the layer took is counted.
// Nothing else of the layer is touched, and a product's own layer is counted the same way.
#include "owner/sent_events.hpp"

#include <dlfcn.h>
#include <ipcmsg.h>
#include <moxplat/osal.h>

#include <cstring>
#include <mutex>
#include <unordered_map>

namespace mox::host {
namespace {

struct Counts {
    std::mutex mutex;
    std::unordered_map<gint32, guint64> by_queue;  // under the mutex
};

Counts& counts() {
    static auto* const instance = new Counts;  // outlives every thread that sends
    return *instance;
}

bool is_property_event(gconstpointer message, gsize size) {
    if (message == nullptr || size < sizeof(MOX_MSG_HEAD_S)) {
        return false;
    }
    MOX_MSG_HEAD_S head;
    std::memcpy(&head, message, sizeof head);
    return std::memcmp(head.msg_head, IPC_MSG_MAGIC, sizeof IPC_MSG_MAGIC) == 0 &&
           head.msg_type == MOX_MSG_PROPERTY_EVENT;
}

}  // namespace

guint64 events_sent(gint32 queue_id) {
    const std::lock_guard lock(counts().mutex);
    const auto found = counts().by_queue.find(queue_id);
    return found == counts().by_queue.end() ? 0 : found->second;
}

void forget_queue(gint32 queue_id) {
    const std::lock_guard lock(counts().mutex);
    counts().by_queue.erase(queue_id);
}

}  // namespace mox::host

gint32 osal_process_queue_send(gint32 queue_id, gconstpointer message, gsize size) {
    using Send = decltype(&osal_process_queue_send);
    static const auto layer = reinterpret_cast<Send>(dlsym(RTLD_NEXT, "osal_process_queue_send"));
    if (layer == nullptr) {
        return OSAL_ERR_SYSTEM;
    }
    const gint32 result = layer(queue_id, message, size);
    if (result == OSAL_OK && mox::host::is_property_event(message, size)) {
        const std::lock_guard lock(mox::host::counts().mutex);
        ++mox::host::counts().by_queue[queue_id];
    }
    return result;
}
