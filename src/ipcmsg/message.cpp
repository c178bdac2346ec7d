// Sending messages, singly and in batches, and draining a queue. Header and payload lie in one
// block, so a message is posted with one call; nothing is retried.
#include "ipcmsg/message.hpp"

#include <moxplat/bounded.h>
#include <moxplat/osal.h>
#include <pub.h>

#include <cstddef>
#include <cstring>

#include "base/glib_ptr.hpp"
#include "base/published.hpp"

gint32 g_myself_port = 0;

// The layout is shared with processes of the other word size.
static_assert(offsetof(MOX_MSG_HEAD_S, msg_head) == 4 &&
              offsetof(MOX_MSG_HEAD_S, ipc_source) == 12);
static_assert(offsetof(MOX_MSG_HEAD_S, ipc_target) == 16 &&
              offsetof(MOX_MSG_HEAD_S, msg_type) == 20);
static_assert(offsetof(MOX_MSG_HEAD_S, msg_ver) == 24 && offsetof(MOX_MSG_HEAD_S, length) == 28);
static_assert(offsetof(MOX_MSG_HEAD_S, sequence) == 32 &&
              offsetof(MOX_MSG_HEAD_S, reserved2) == 36);
static_assert(sizeof(MOX_MSG_HEAD_S) == 76 && sizeof(MOX_MSG_S) == 8268);

namespace {

constexpr gsize kDrainBuffer = 8272;
constexpr gint32 kMessageKind = 1;
constexpr guint32 kMessageVersion = 1;

IpcMsgLostFunc lost_func = nullptr;

void tell_lost(gint32 ipc_que_id, guint32 msg_type, gint32 result) {
    if (const IpcMsgLostFunc func = mox::read_published(lost_func)) {
        func(ipc_que_id, msg_type, result);
    }
}

gint32 send_message(gint32 ipc_que_id, guint32 msg_type, gpointer buffer, gsize size) {
    if (size > IPC_MSG_MAX_PAYLOAD) {
        pub_debug_print(MX_DBG_ERR, "message size(%d) too big.\n", static_cast<gint>(size));
        return MOX_ERR_MESSAGE_TOO_BIG;
    }
    const gint32 own_port = mox::read_published(g_myself_port);
    if (own_port == 0) {
        return MOX_ERR_NO_PORT;
    }
    if (buffer == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    auto* head = static_cast<MOX_MSG_HEAD_S*>(buffer);
    static_assert(sizeof(IPC_MSG_MAGIC) <= sizeof(head->msg_head));
    std::memcpy(head->msg_head, IPC_MSG_MAGIC, sizeof(IPC_MSG_MAGIC));
    head->ipc_source = static_cast<guint32>(own_port);
    head->ipc_target = static_cast<guint32>(ipc_que_id);
    head->msg_type = msg_type;
    head->length = static_cast<guint32>(size);
    head->mtype = kMessageKind;
    head->msg_ver = kMessageVersion;
    pub_debug_print(MX_DBG_MASS, "<-----send msg: target:%d type: %d, data size:%d----->\n",
                    ipc_que_id, static_cast<gint>(msg_type), static_cast<gint>(size));
    return osal_process_queue_send(ipc_que_id, buffer, size + sizeof(MOX_MSG_HEAD_S));
}

}  // namespace

void ipc_msg_set_port(gint32 port) {
    mox::publish(g_myself_port, port);
}

gpointer ipc_msg_alloc(gsize size) {
    return g_malloc0(sizeof(MOX_MSG_HEAD_S) + size + kMessageSpare);
}

void ipc_msg_free(gpointer msg) {
    g_free(msg);
}

gint32 ipc_msg_send(gint32 ipc_que_id, guint32 msg_type, gpointer buffer, gsize size) {
    const gint32 result = send_message(ipc_que_id, msg_type, buffer, size);
    if (result != MOX_OK) {
        tell_lost(ipc_que_id, msg_type, result);
    }
    return result;
}

gint32 ipc_msg_batch(GSList* receiver_list, guint32 type, gsize size, gpointer data) {
    for (const GSList* item = receiver_list; item != nullptr; item = item->next) {
        const gint32 result = ipc_msg_send(GPOINTER_TO_INT(item->data), type, data, size);
        if (result != MOX_OK) {
            ipc_msg_tell_lost(item->next, type, result);
            return result;
        }
    }
    return MOX_OK;
}

void ipc_msg_tell_lost(GSList* receiver_list, guint32 type, gint32 result) {
    for (const GSList* item = receiver_list; item != nullptr; item = item->next) {
        tell_lost(GPOINTER_TO_INT(item->data), type, result);
    }
}

void ipc_msg_set_lost_func(IpcMsgLostFunc func) {
    mox::publish(lost_func, func);
}

void ipc_clear_queue(gint32 ipc_que_id) {
    if (ipc_que_id < 0) {
        return;
    }
    const mox::GPtr<MOX_MSG_HEAD_S> buffer(static_cast<MOX_MSG_HEAD_S*>(g_malloc0(kDrainBuffer)));
    buffer->mtype = kMessageKind;
    // Empty ends the work; so does every other failure, or a removed queue would never let go.
    while (osal_process_queue_receive(ipc_que_id, buffer.get(), sizeof(MOX_MSG_S), 0) >= 0) {
    }
}

gint32 ipc_msg_send_dump(gint32 ipc_que_id, const gchar* path) {
    if (ipc_que_id == 0 || path == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const gsize length = std::strlen(path);
    const mox::GPtr<void> message(ipc_msg_alloc(length));
    // The bound is the text's own length: its last character gives way to the terminator. Receivers
    // rely on that form.
    g_strlcpy(static_cast<gchar*>(mox::payload_of(message.get())), path, length);
    return ipc_msg_send(ipc_que_id, MOX_MSG_DUMP, message.get(), length);
}
