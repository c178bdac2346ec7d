// Looking at a queue without touching it.
#include <moxplat/osal.h>
#include <sys/msg.h>
#include <cerrno>

gint32 osal_process_queue_state(gint32 queue_id, OSAL_QUEUE_STATE_S* state) {
    if (state == nullptr) return OSAL_ERR_ARGUMENT;
    msqid_ds queue = {};
    if (msgctl(queue_id, IPC_STAT, &queue) != 0) {
        if (errno == EINVAL || errno == EIDRM) return OSAL_ERR_BAD_ID;
        g_warning("queue %d cannot be looked at: %s", queue_id, g_strerror(errno));
        return OSAL_ERR_SYSTEM;
    }
    *state = {queue.msg_qnum, queue.__msg_cbytes, queue.msg_qbytes};
    return OSAL_OK;
}
