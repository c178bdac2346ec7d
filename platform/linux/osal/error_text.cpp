// One text per code of the layer.
#include <moxplat/osal.h>

const gchar* osal_error_text(gint32 code) {
    switch (code) {
        case OSAL_OK:
            return "success";
        case OSAL_ERR_EMPTY:
            return "the queue is empty";
        case OSAL_ERR_BAD_ID:
            return "no such semaphore or queue, or it was removed";
        case OSAL_ERR_FULL:
            return "the queue is full";
        case OSAL_ERR_TOO_BIG:
            return "the message is too big for the system, the queue or the buffer";
        case OSAL_ERR_HELD:
            return "this thread holds the semaphore already";
        case OSAL_ERR_NOT_HELD:
            return "this thread does not hold the semaphore";
        case OSAL_ERR_LIMIT:
            return "a limit on semaphore sets or queues is reached";
        case OSAL_ERR_ARGUMENT:
            return "a null pointer, a size below 4 bytes or a message type below 1";
        case OSAL_ERR_SYSTEM:
            return "the system refused; the log names the cause";
        default:
            return "unknown code";
    }
}
