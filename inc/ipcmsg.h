/* ipcmsg.h: messages between module processes: their layout on the queues, sending, draining, and
 * the notices that tell listeners of new objects, removed objects and changed properties.
 *
 * All integers are 32 bits wide in host byte order, so that 32-bit and 64-bit processes of a
 * machine understand each other. A module's "port" is the id of its message queue. Unless a comment
 * says otherwise: any process, any thread; no lock is taken, and no object's semaphore may be held.
 */
#ifndef MOX_IPCMSG_H
#define MOX_IPCMSG_H

#include <classnode.h>
#include <moxlib/moxbase.h>

G_BEGIN_DECLS

#define IPC_MSG_MAGIC       "MOXMSG" /* begins every message */
#define IPC_MSG_MAX_PAYLOAD 8192U    /* bytes behind the header */

/* What a message is about, and what its payload is. */
typedef enum tag_mox_msg_type {
    MOX_MSG_RECV_IPMI_REQUEST = 0,
    MOX_MSG_RECV_IPMI_RESPONSE = 1,
    MOX_MSG_PROPERTY_EVENT = 2, /* MSG_EVENT_DATA_HEAD_S and the value */
    MOX_MSG_ADD_OBJECT = 3,     /* MSG_NEW_OBJ_EVENT_S and the names */
    MOX_MSG_DEL_OBJECT = 4,     /* MSG_DEL_RU_EVENT_S */
    MOX_MSG_SEND_IPMI_REQUEST = 5,
    MOX_MSG_SEND_IPMI_RESPONSE = 6,
    MOX_MSG_DUMP = 7, /* the text of a path */
    MOX_MSG_END = 8   /* number of types, never sent */
} MOX_MSG_TYPE;

/* Header of every message, 76 bytes. */
typedef struct tag_ipc_msg_head {
    gint32 mtype;          /* offset 0: always 1 */
    gchar msg_head[8];     /* offset 4: IPC_MSG_MAGIC, rest zero */
    guint32 ipc_source;    /* offset 12: the sender's own port */
    guint32 ipc_target;    /* offset 16: the receiver's port */
    guint32 msg_type;      /* offset 20: MOX_MSG_TYPE */
    guint32 msg_ver;       /* offset 24: always 1 */
    guint32 length;        /* offset 28: payload bytes, 0 to 8192 */
    guint32 sequence;      /* offset 32: not assigned here, 0 */
    guint32 reserved2[10]; /* offset 36: zero */
} MOX_MSG_HEAD_S;

/* A whole message at its largest, 8268 bytes. */
typedef struct tag_mox_msg {
    MOX_MSG_HEAD_S head;
    guint8 data[IPC_MSG_MAX_PAYLOAD]; /* offset 76 */
} MOX_MSG_S;

/* The queue layer's generic record; a receiver may use either layout. */
typedef struct tag_que_msg {
    gint32 mtype;
    guint8 buffer[8193];
} QUE_MSG_S;

/* Payload of MOX_MSG_PROPERTY_EVENT. */
typedef struct tag_event_data_head {
    gchar object_name[32];          /* offset 0 */
    gchar property_name[32];        /* offset 32 */
    gchar type[6];                  /* offset 64 */
    guint8 padding[2];              /* offset 70 */
    guint32 size;                   /* offset 72: bytes of data */
    G_GNUC_EXTENSION guint8 data[]; /* offset 76: the value in serialized form */
} MSG_EVENT_DATA_HEAD_S;

/* Payload of MOX_MSG_ADD_OBJECT. */
typedef struct tag_new_obj_event {
    guint32 size;     /* offset 0: bytes of data */
    guint32 position; /* offset 4: the position that the objects were created for */
    G_GNUC_EXTENSION guint8
        data[]; /* offset 8: "as" in serialized form: groups of "|", class name, object names */
} MSG_NEW_OBJ_EVENT_S;

/* Payload of MOX_MSG_DEL_OBJECT. */
typedef struct tag_del_ru_event {
    guint32 position;
} MSG_DEL_RU_EVENT_S;

/* Sets this module's own port, which every message names as its source.
 * port: its queue's id, above 0; 0 means not set. At start, before other threads send. */
MOX_API void ipc_msg_set_port(gint32 port);

/* Makes a zeroed message buffer.
 * size: payload bytes. Returns header, payload and four spare bytes in one block, freed with
 * ipc_msg_free. */
MOX_API gpointer ipc_msg_alloc(gsize size);

/* Frees a buffer of ipc_msg_alloc. msg: nullable. */
MOX_API void ipc_msg_free(gpointer msg);

/* Fills the header and sends one message; never blocks. Any thread.
 * ipc_que_id: the receiver's port. msg_type: MOX_MSG_TYPE. buffer: header with the payload behind
 * it, stays the caller's, not null. size: payload bytes. Returns 0; MOX_ERR_MESSAGE_TOO_BIG above
 * 8192 bytes (logged, tested first); MOX_ERR_NO_PORT before ipc_msg_set_port; MOX_ERR_BAD_ARGUMENT
 * for a null buffer; else the queue layer's code (full, removed). */
MOX_API gint32 ipc_msg_send(gint32 ipc_que_id, guint32 msg_type, gpointer buffer, gsize size);

/* Sends one buffer to each port of a list, in list order; the first failure ends the walk: later
 * receivers get nothing. receiver_list: GINT_TO_POINTER(port), nullable (empty). type:
 * MOX_MSG_TYPE. size: payload bytes. data: the message buffer, used by no other thread meanwhile.
 * Returns 0 or the first failing send's code. */
MOX_API gint32 ipc_msg_batch(GSList* receiver_list, guint32 type, gsize size, gpointer data);

/* Is told of a message that did not reach a receiver: its own send failed, or one before it in a
 * batch did. ipc_que_id: the receiver's port. msg_type: MOX_MSG_TYPE. result: the failure's code.
 * Called by the thread that sends, with the locks that its caller holds: it must not wait or send.
 */
typedef void (*IpcMsgLostFunc)(gint32 ipc_que_id, guint32 msg_type, gint32 result);

/* Installs the function that is told of lost messages, so that a host can count them by receiver.
 * func: nullable (nobody is told). At start, before other threads send. */
MOX_API void ipc_msg_set_lost_func(IpcMsgLostFunc func);

/* Tells the lost function of messages that are not even made, because one that was to go out before
 * them failed. receiver_list: as for ipc_msg_batch, nullable. type: MOX_MSG_TYPE. result: the
 * failure's code. Any process. */
MOX_API void ipc_msg_tell_lost(GSList* receiver_list, guint32 type, gint32 result);

/* Discards every message that waits in a queue. ipc_que_id: a negative one is ignored; a removed
 * one ends the work. */
MOX_API void ipc_clear_queue(gint32 ipc_que_id);

/* Asks a module to write a dump.
 * ipc_que_id: its port. path: text for the receiver; its last character is not sent (established;
 * receivers read the payload as a terminated string). Returns 0; MOX_ERR_BAD_ARGUMENT for port 0 or
 * a null path; else as ipc_msg_send. */
MOX_API gint32 ipc_msg_send_dump(gint32 ipc_que_id, const gchar* path);

/* Starts gathering new-object notices, and drops what was gathered before. The gathering table has
 * no lock: gather, flush and free on one thread. */
MOX_API void ipc_msg_newobj_init(void);

/* Gathers one notice for a port: class_handle's name and the names of new objects of it.
 * ipc_port 0, a null class, an empty list or a class without a name:
 * nothing; so before ipc_msg_newobj_init. object_name_list:
 * gchar*, copied. A notice carries UTF-8: a name of other bytes is left out, and nothing is
 * gathered for such a class (logged). */
MOX_API void ipc_msg_collect_obj(gint32 ipc_port, CLS_HANDLE class_handle,
                                 GSList* object_name_list);

/* Sends what was gathered, one MOX_MSG_ADD_OBJECT per port; failures are logged. Nothing is
 * dropped: a second flush sends the same again, until ipc_msg_newobj_free. position: the one that
 * the objects were created for. */
MOX_API void ipc_msg_newobj_event(guint32 position);

/* Drops all that was gathered; ipc_msg_newobj_init starts anew. */
MOX_API void ipc_msg_newobj_free(void);

/* Tells a port that the objects of a position were removed.
 * ipc_port: the receiver. position: the one that the removed objects had.
 * Returns 0; MOX_ERR_BAD_ARGUMENT for port 0; else as ipc_msg_send. */
MOX_API gint32 ipc_msg_delobj_event(gint32 ipc_port, guint32 position);

/* Sends a property change to each port of a list, as ipc_msg_batch does.
 * listener_list: nullable (0 is returned). object_name, property_name: cut to 31 characters. type:
 * type string, cut to 5. size: bytes of property_value in serialized form. property_value: stays
 * the caller's. Returns 0; MOX_ERR_BAD_ARGUMENT for null arguments or a size below the value's own;
 * else as ipc_msg_batch (a size over 8116: MOX_ERR_MESSAGE_TOO_BIG). */
MOX_API gint32 ipc_msg_property_event(GSList* listener_list, const gchar* object_name,
                                      const gchar* property_name, const gchar* type, gsize size,
                                      GVariant* property_value);

G_END_DECLS

#endif
