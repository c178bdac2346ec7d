/* operator.h: what an operator's tool asks of the owner: the whole model at a glance, who holds
 * what, where messages wait, and writes to any object.
 *
 * Every call is a question to the owner, bounded by MOXHOST_CALL_TIMEOUT_MS, for the thread that
 * joined. Lists come as an array that ends with a record without a name (its first character is 0);
 * count, nullable, receives their number. They are freed as each call says. What they tell was true
 * while the owner answered, and may be otherwise a moment later. Errors are GErrors of
 * MOXHOST_ERROR, as in moxhost.h. */
#ifndef MOXHOST_OPERATOR_H
#define MOXHOST_OPERATOR_H

#include <moxhost/moxhost.h>

G_BEGIN_DECLS

/* One object of the model, or one collection object. */
typedef struct {
    gchar name[40];
    gchar class_name[32];
    gchar module[32]; /* the module that owns its class */
    gchar board[32];  /* "" for what is always there */
    guint32 position;
    guint32 property_count;
    guint32 value_bytes; /* of its properties' values */
    guint32 pool_bytes;  /* all that it takes in the pool, values included, as requested from the
                            allocator */
    gboolean is_collection;
} MoxHostObjectInfo;

/* Lists the objects that are there now, in the profile's order, then the collections.
 * class_name: only objects of this class and of those that derive from it, without collections;
 * null means all. Freed with g_free. Returns null with error set: MOXHOST_ERROR_NOT_FOUND for an
 * unknown class. */
MOXHOST_API MoxHostObjectInfo* moxhost_object_infos(MoxHostModule* module, const gchar* class_name,
                                                    gsize* count, GError** error);

/* One class of the profile. */
typedef struct {
    gchar name[32];
    gchar parent[32]; /* "" for a root class */
    gchar module[32]; /* the module that owns it */
    guint32 id;
    guint32 object_count; /* that are there now, without those of classes that derive from it */
    guint32 pool_bytes;   /* its records: the class itself, its part of the schema, its listeners */
} MoxHostClassInfo;

/* Lists the classes in the profile's order. Freed with g_free. Returns null with error set. */
MOXHOST_API MoxHostClassInfo* moxhost_class_infos(MoxHostModule* module, gsize* count,
                                                  GError** error);

/* Where a property's live value comes from. */
typedef enum {
    MOXHOST_SOURCE_MEMORY,   /* the pool */
    MOXHOST_SOURCE_HARDWARE, /* an accessor, named by source */
    MOXHOST_SOURCE_PROPERTY, /* another object's property, source: "OBJECT.PROPERTY" */
    MOXHOST_SOURCE_FORMULA   /* source: the formula's text */
} MoxHostSource;

/* One property of an object. */
typedef struct {
    gchar name[32];
    gchar type[8];
    MoxHostSource source_kind;
    gchar* source;      /* "" for memory */
    guint32 state;      /* the bits of PROPERTY_STATE_S */
    guint32 size;       /* bytes of the stored value */
    guint32 capacity;   /* bytes that fit */
    PER_MODE_E persist; /* as the profile says; PER_MODE_NOSUPPORT for not saved */
    gchar** listeners;  /* names of the modules that listen to it, null-terminated, sorted */
    guint64 events;     /* changes that the owner has announced since it made the object, whether
                           anybody listened or not; not those that a module writes itself. After
                           4294967295 it begins anew */
} MoxHostPropertyInfo;

/* Lists an object's properties, in class order. object_name: also a collection's. Freed with
 * moxhost_property_infos_free. Returns null with error set: MOXHOST_ERROR_NOT_FOUND for an unknown
 * object. */
MOXHOST_API MoxHostPropertyInfo* moxhost_property_infos(MoxHostModule* module,
                                                        const gchar* object_name, gsize* count,
                                                        GError** error);
MOXHOST_API void moxhost_property_infos_free(MoxHostPropertyInfo* infos); /* nullable */

/* One joined module, or the owner itself, with its queue. */
typedef struct {
    gchar name[32];
    MOX_MODULE_TYPE type;
    gint32 pid;
    gint32 id;        /* its bitmap id; 0 for the owner */
    gint32 queue_id;  /* its port */
    gint64 joined_us; /* when it joined, microseconds since 1970; for the owner, its start */
    guint32 copies;   /* objects of which it has a copy */
    guint32 listens;  /* properties of classes that it listens to */
    guint32 queued;   /* messages that wait in its queue */
    guint64 queued_bytes;
    guint64 limit_bytes; /* room of its queue */
    guint64 events_sent; /* property events that the owner has put into its queue */
    guint64 events_lost; /* messages of any process that did not reach its queue */
} MoxHostModuleInfo;

/* Lists the owner first, then the modules by id. Freed with g_free. Returns null with error set. */
MOXHOST_API MoxHostModuleInfo* moxhost_module_infos(MoxHostModule* module, gsize* count,
                                                    GError** error);

#define MOXHOST_LOCK_WAITERS 4 /* waiting threads that a MoxHostLockInfo names */

/* The lock of an object. Objects that share one are listed each. */
typedef struct {
    gchar object[40];
    gint32 semid;
    gint32 member;
    gint32 holder;                        /* thread id; 0 when nobody holds it */
    gint32 holder_pid;                    /* its process; 0 when it is not known */
    gboolean holder_is_dead;              /* the next one to take it gets it */
    gint32 waiters[MOXHOST_LOCK_WAITERS]; /* thread ids; 0 for none. More may wait than fit here */
    guint32 waiter_count;
} MoxHostLockInfo;

/* Lists the locks of the objects that are there, but those that cannot be looked at. all: FALSE
 * gives only those that are held or waited for. Takes no lock. Freed with g_free. Returns null with
 * error set. */
MOXHOST_API MoxHostLockInfo* moxhost_lock_infos(MoxHostModule* module, gboolean all, gsize* count,
                                                GError** error);

/* What the pool is used for, in bytes. */
typedef struct {
    guint64 total;
    guint64 used;    /* as the allocator counts: with its own heads, and rounding */
    guint64 largest; /* the largest block that could be had now */
    guint64 blocks;  /* in use */
    guint64 objects; /* of all objects and collections, as requested from the allocator */
    guint64 classes; /* of all classes, with their schema and listeners, likewise */
    guint64 removed; /* objects, not bytes, that were removed while a module had a copy */
} MoxHostPoolInfo;

/* Asks what the pool is used for. info: not null. Returns FALSE with error set. */
MOXHOST_API gboolean moxhost_pool_info(MoxHostModule* module, MoxHostPoolInfo* info,
                                       GError** error);

/* The calls below may be made by modules that joined with the type MODULE_INTERFACE only: those
 * that speak for a person. Others get MOXHOST_ERROR_REFUSED. */

/* Has the owner write a property of any object, through its accessor too when it has one that may
 * be written; saved under the mode that the profile gives. A reference is written at its target.
 * value: not null; a floating one is consumed. Returns FALSE with error set: MOXHOST_ERROR_FAILED
 * names the status. One of persistence or of the driver tells that the value is stored and
 * announced nevertheless, but not saved, or not in the hardware; what is not saved does not go
 * there. After a time-out the owner may still do it. */
MOXHOST_API gboolean moxhost_operator_set(MoxHostModule* module, const gchar* object_name,
                                          const gchar* property_name, GVariant* value,
                                          GError** error);

/* Has the owner force a property's value until it is cancelled: every read shows it, writes are
 * refused. A listener that cannot be told of it is a lost message and no failure. A reference is
 * overridden at its target. value: as for moxhost_operator_set. Returns
 * FALSE with error set, as moxhost_operator_set. */
MOXHOST_API gboolean moxhost_operator_override(MoxHostModule* module, const gchar* object_name,
                                               const gchar* property_name, GVariant* value,
                                               GError** error);

/* Has the owner end an override, at its target for a reference, and read the property anew. What
 * comes from memory keeps the forced value until the next write, what comes from a formula until an
 * input changes. Returns FALSE with error set: MOXHOST_ERROR_STATE when the property is not
 * overridden; MOXHOST_ERROR_FAILED with a status of the driver when the hardware cannot be read:
 * the override has ended, and the forced value stays until it can. */
MOXHOST_API gboolean moxhost_operator_cancel(MoxHostModule* module, const gchar* object_name,
                                             const gchar* property_name, GError** error);

/* Gives how many messages, of any process, did not reach this module's queue since it joined,
 * because it was full or the message could not be sent. Never blocks, asks nobody. */
MOXHOST_API guint64 moxhost_messages_lost(const MoxHostModule* module);

G_END_DECLS

#endif
