// Internal view of sending: this module's own port.
#ifndef MOX_IPCMSG_MESSAGE_HPP
#define MOX_IPCMSG_MESSAGE_HPP

#include <glib.h>
#include <ipcmsg.h>

// This module's own queue id; 0 until ipc_msg_set_port.
extern gint32 g_myself_port;

// Bytes behind the payload that a buffer of ipc_msg_alloc holds in reserve.
constexpr gsize kMessageSpare = 4;

namespace mox {

// The payload of a message buffer, behind its header: as aligned as that, which is enough for every
// payload's record.
static_assert(alignof(MSG_EVENT_DATA_HEAD_S) <= alignof(MOX_MSG_HEAD_S) &&
              alignof(MSG_NEW_OBJ_EVENT_S) <= alignof(MOX_MSG_HEAD_S) &&
              alignof(MSG_DEL_RU_EVENT_S) <= alignof(MOX_MSG_HEAD_S));
inline gpointer payload_of(gpointer message) {
    return static_cast<guint8*>(message) + sizeof(MOX_MSG_HEAD_S);
}

}  // namespace mox

#endif
