// Sending and receiving. On the wire a message begins with a 4-byte type; the system's calls want a
// `long` there, so where that is wider the message goes through a structure of this file. Both word
// sizes then agree byte for byte.
#include <moxplat/osal.h>
#include <sys/msg.h>
#include <cerrno>
#include <cstring>

namespace mox::osal {

namespace {

constexpr gsize type_bytes = sizeof(gint32);
constexpr gsize body_max = OSAL_QUEUE_MESSAGE_MAX - type_bytes;

struct SystemMessage {
    long type;
    char body[body_max];
};

// Where the system's type is as wide as the wire's, a message goes to the system as it lies.
constexpr bool is_wire_form = sizeof(long) == type_bytes;

// Returns 0 or the error number.
int send_now(gint32 queue_id, gconstpointer message, gsize body) {
    int error = 0;
    do error = msgsnd(queue_id, message, body, IPC_NOWAIT) == 0 ? 0 : errno;
    while (error == EINTR);
    return error;
}

gint32 system_error(const char* what, gint32 queue_id, int error) {
    g_warning("%s queue %d: %s", what, queue_id, g_strerror(error));
    return OSAL_ERR_SYSTEM;
}

// Why the system refused a body of this size: the queue's existence, its room, or the message
// limit.
gint32 explain_refused_send(gint32 queue_id, gsize body, int error) {
    msqid_ds queue = {};
    const bool known = msgctl(queue_id, IPC_STAT, &queue) == 0;
    if (!known && (errno == EINVAL || errno == EIDRM)) return OSAL_ERR_BAD_ID;
    if (known && error == EAGAIN && queue.msg_qbytes >= body) return OSAL_ERR_FULL;
    if (known && error == EAGAIN) {
        g_warning("send to queue %d: %" G_GSIZE_FORMAT
                  " bytes are above the queue's room of %lu; "
                  "raise kernel.msgmnb before the queue is made",
                  queue_id, body, static_cast<gulong>(queue.msg_qbytes));
        return OSAL_ERR_TOO_BIG;
    }
    if (known && error == EINVAL) {
        g_warning("send to queue %d: %" G_GSIZE_FORMAT " bytes are above kernel.msgmax", queue_id,
                  body);
        return OSAL_ERR_TOO_BIG;
    }
    return system_error("send to", queue_id, error);
}

gint32 explain_refused_receive(gint32 queue_id, int error) {
    switch (error) {
        case ENOMSG:
            return OSAL_ERR_EMPTY;
        case E2BIG:
            return OSAL_ERR_TOO_BIG;
        case EINVAL:
        case EIDRM:
            return OSAL_ERR_BAD_ID;
        default:
            return system_error("receive from", queue_id, error);
    }
}

}  // namespace

}  // namespace mox::osal

using namespace mox::osal;

gint32 osal_process_queue_send(gint32 queue_id, gconstpointer message, gsize size) {
    gint32 type = 0;
    if (message == nullptr || size < type_bytes) return OSAL_ERR_ARGUMENT;
    std::memcpy(&type, message, type_bytes);
    if (type < 1) return OSAL_ERR_ARGUMENT;
    if (size > OSAL_QUEUE_MESSAGE_MAX) return OSAL_ERR_TOO_BIG;
    const gsize body = size - type_bytes;
    int error = 0;
    if constexpr (is_wire_form) {
        error = send_now(queue_id, message, body);
    } else {
        SystemMessage copy;
        copy.type = type;
        std::memcpy(copy.body, static_cast<const char*>(message) + type_bytes, body);
        error = send_now(queue_id, &copy, body);
    }
    return error == 0 ? OSAL_OK : explain_refused_send(queue_id, body, error);
}

gint32 osal_process_queue_receive(gint32 queue_id, gpointer message, gsize capacity, gint32 wait) {
    if (message == nullptr || capacity < type_bytes) return OSAL_ERR_ARGUMENT;
    SystemMessage copy;
    const gsize room = MIN(capacity - type_bytes, body_max);
    ssize_t body = -1;
    int error = 0;
    do {
        body = msgrcv(queue_id, &copy, room, 0, wait == 0 ? IPC_NOWAIT : 0);
        error = body >= 0 ? 0 : errno;
    } while (error == EINTR);
    if (error != 0) return explain_refused_receive(queue_id, error);
    const auto type = static_cast<gint32>(copy.type);
    std::memcpy(message, &type, type_bytes);
    std::memcpy(static_cast<char*>(message) + type_bytes, copy.body, static_cast<gsize>(body));
    return static_cast<gint32>(body) + static_cast<gint32>(type_bytes);
}
