// The messages that tell of a changed property and of removed objects.
#include <ipcmsg.h>
#include <pub.h>

#include <cstddef>
#include <cstring>

#include "base/glib_ptr.hpp"
#include "base/record_text.hpp"
#include "base/store_value.hpp"
#include "ipcmsg/message.hpp"

static_assert(offsetof(MSG_EVENT_DATA_HEAD_S, property_name) == 32 &&
              offsetof(MSG_EVENT_DATA_HEAD_S, type) == 64);
static_assert(offsetof(MSG_EVENT_DATA_HEAD_S, size) == 72 &&
              offsetof(MSG_EVENT_DATA_HEAD_S, data) == 76);

namespace {

// A zeroed message: in place when it is as small as nearly all events are, otherwise on the heap.
class MessageBlock {
public:
    explicit MessageBlock(gsize payload_size) {
        if (payload_size <= kSmallPayload) {
            std::memset(small_, 0, sizeof(MOX_MSG_HEAD_S) + payload_size);
        } else {
            large_.reset(ipc_msg_alloc(payload_size));
        }
    }
    gpointer message() { return large_ ? large_.get() : small_; }

private:
    static constexpr gsize kSmallPayload = 256;

    alignas(MOX_MSG_HEAD_S) guint8 small_[sizeof(MOX_MSG_HEAD_S) + kSmallPayload];
    mox::GPtr<void> large_;
};

}  // namespace

gint32 ipc_msg_delobj_event(gint32 ipc_port, guint32 position) {
    if (ipc_port == 0) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::GPtr<void> message(ipc_msg_alloc(sizeof(MSG_DEL_RU_EVENT_S)));
    static_cast<MSG_DEL_RU_EVENT_S*>(mox::payload_of(message.get()))->position = position;
    return ipc_msg_send(ipc_port, MOX_MSG_DEL_OBJECT, message.get(), sizeof(MSG_DEL_RU_EVENT_S));
}

gint32 ipc_msg_property_event(GSList* listener_list, const gchar* object_name,
                              const gchar* property_name, const gchar* type, gsize size,
                              GVariant* property_value) {
    if (listener_list == nullptr) {
        return MOX_OK;
    }
    // A size below the value's own would make a block that does not hold it.
    if (object_name == nullptr || property_name == nullptr || type == nullptr ||
        property_value == nullptr || size < g_variant_get_size(property_value)) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    if (size > IPC_MSG_MAX_PAYLOAD - offsetof(MSG_EVENT_DATA_HEAD_S, data)) {
        pub_debug_print(MX_DBG_ERR, "message size(%d) too big.\n",
                        static_cast<gint>(size + offsetof(MSG_EVENT_DATA_HEAD_S, data)));
        ipc_msg_tell_lost(listener_list, MOX_MSG_PROPERTY_EVENT, MOX_ERR_MESSAGE_TOO_BIG);
        return MOX_ERR_MESSAGE_TOO_BIG;
    }
    const gsize payload_size = size + offsetof(MSG_EVENT_DATA_HEAD_S, data);
    MessageBlock block(payload_size);
    auto* event = static_cast<MSG_EVENT_DATA_HEAD_S*>(mox::payload_of(block.message()));
    mox::copy_text(event->object_name, object_name);
    mox::copy_text(event->property_name, property_name);
    mox::copy_text(event->type, type);
    event->size = static_cast<guint32>(size);
    mox::store_value(property_value, event->data);
    return ipc_msg_batch(listener_list, MOX_MSG_PROPERTY_EVENT, payload_size, block.message());
}
