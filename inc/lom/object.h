/* lom/object.h: object and property records, and the calls that build an object step by step.
 *
 * Only the pool's owner builds objects: embryo, lom_init_property for every index,
 * lom_init_accessor where a property has one, lom_mutex_object (lom/lock.h) when a mutex object was
 * named, lom_add_object, lom_ready_object. A record under construction is used by one thread. The
 * record itself lives in the heap of each process that holds it; everything it points to but
 * property_hash, user_data and refered_object lies in the pool, so a copy of the record is whole in
 * every process. */
#ifndef MOX_LOM_OBJECT_H
#define MOX_LOM_OBJECT_H

#include <moxlib/moxbase.h>
#include <pub.h>

G_BEGIN_DECLS

#define LOM_REF_BITMAP_WORDS 4 /* a bit for each module id, 1 to 127 */
#define LOM_DATA_HOLD_SIZE   8 /* bytes of a value that a property record holds itself */

/* Whether the driver library knows the object, too (physical). */
typedef enum tag_object_type { OBJECT_TYPE_LOGICAL = 0, OBJECT_TYPE_PHYSICAL = 1 } OBJECT_TYPE;

/* How far an object is; only normal ones can be copied to other modules. */
typedef enum tag_object_state {
    OBJECT_NORMAL = 0,
    OBJECT_MXD_READY = 1, /* under construction */
    OBJECT_MARK_DEL = 2
} OBJECT_STATE;

/* What this process may do with its copy of an object. */
typedef enum tag_object_capability {
    OBJECT_READ_ONLY = 0,
    OBJECT_READ_WRITE = 1
} OBJECT_CAPABILITY;

/* State of a property. Changed under the object's semaphore, but for the cases that the writing
 * functions name. */
typedef union tag_property_state {
    guint32 all;
    struct {
        guint32 modified : 1;     /* changed since it was last persisted */
        guint32 static_saved : 1; /* value is persisted */
        guint32 override : 1;     /* value is overridden */
        guint32 synced : 1;       /* value in memory is current */
        guint32 acc_r : 1;        /* the accessor may be read */
        guint32 acc_w : 1;        /* the accessor may be written */
        guint32
            acc_sync : 1; /* accessor reads are synchronous: a live read writes the value back */
        guint32 reserved : 25;
    } bit;
} PROPERTY_STATE_S;

/* Of the reserved bits, which are zero at all other times: set in PROPERTY_STATE_S.all while bytes
 * are put in place. Seen with the object's semaphore held it was left by a process that died at
 * that, or there was no room in the pool for the first value: the value is read by nobody until the
 * next one is stored. */
#define PROPERTY_STATE_HALF_WRITTEN (1U << 7)

/* One property of an object, in the pool. */
typedef struct tag_serialised_property {
    gchar name[PUB_NAME_LENGTH];
    gchar type[PUB_TYPE_LENGTH];
    gchar* accessor; /* name of the accessor object, or null */
    PROPERTY_STATE_S state;
    gsize size;     /* bytes of the current value */
    gsize capacity; /* bytes that fit at data */
    struct tag_serialised_property* next_ptr;
    gpointer data;                        /* data_hold of this record, or a block of the pool */
    guint8 data_hold[LOM_DATA_HOLD_SIZE]; /* values of fixed-size types */
} SERIALISED_PROPERTY_S;

/* A process's bookkeeping of one property, on its heap. */
typedef struct tag_local_property {
    SERIALISED_PROPERTY_S* property_ptr;
    guint32 change_cnt;  /* events sent */
    guint32 receive_cnt; /* events received */
} LOCAL_PROPERTY_S;

/* The names under which an object's events are sent, in the pool; the first node is the object's
 * own. */
typedef struct class_object_list {
    gchar* class_name;
    gchar* object_name;
    struct class_object_list* next;
} CLASS_OBJECT_LIST_S;

/* An object record. */
typedef struct tag_object_head {
    gchar* object_name;    /* pool string of the first name_list node */
    gchar* class_name;     /* pool string of the first name_list node */
    gchar* mutex_obj_name; /* object whose semaphore this one shares (pool), or null */
    guint32* ref_bitmap;   /* LOM_REF_BITMAP_WORDS words in the pool; changed atomically by every
                              process */
    OBJECT_TYPE type;
    MDL_HANDLE module;
    guint32 position;
    gint32 sem_index; /* slot that the semaphore hooks manage */
    gint32 semid;
    gint32 sem_member;
    guint32 property_count;
    SERIALISED_PROPERTY_S* property_entry; /* pool; null when property_count is 0 */
    CLASS_OBJECT_LIST_S* name_list;        /* pool */
    struct tag_object_head*
        refered_object; /* the object whose properties this one shares, or null */
    gint32 ref_count;   /* this process's holders; changed only atomically */
    OBJECT_STATE status;
    OBJECT_CAPABILITY capability;
    gpointer user_data; /* bound by lom_bind_data, guarded by the object's semaphore */
    GDestroyNotify destroy_func;
    GHashTable* property_hash; /* name -> LOCAL_PROPERTY_S, on this process's heap */
} OBJECT_HEAD_S;

/* Creates a semaphore: fills slot index, set id and member. */
typedef void (*SemCreatefunc)(gint32* sem_index, gint32* semid, gint32* sem_member);
/* Frees a semaphore by slot index and member. */
typedef void (*SemFreefunc)(gint32 sem_index, gint32 sem_member);

/* Installs the semaphore hooks. Owner only, before the first object is made: they are called
 * without a check. create_func, free_func: not null once objects are made. */
MOX_API void lom_set_sem_func(SemCreatefunc create_func, SemFreefunc free_func);

/* Allocates a record without a name, with room for property_count properties.
 * Returns the record under construction; null when this process is not the pool's owner or the pool
 * is exhausted. */
MOX_API OBJECT_PTR lom_alloc_space(guint32 property_count);

/* Makes a named record with its own semaphore.
 * object_name, class_name: cut to 31 characters. mutex_obj_name: object whose semaphore to share
 * later with lom_mutex_object, "" for none. object_type: "Physical" makes a physical object, any
 * other text a logical one. position: the number that batch deletion selects by. Returns the record
 * under construction; null for a null argument, or as lom_alloc_space. */
MOX_API OBJECT_PTR lom_create_object_embryo(guint32 property_count, const gchar* object_name,
                                            const gchar* class_name, const gchar* mutex_obj_name,
                                            const gchar* object_type, guint32 position);

/* Fills one property of a record under construction; bad arguments are ignored.
 * obj_ptr, property_name, mode: nullable (nothing is done). property_index: from 0, below the
 * count. property_name: cut to 31 characters. tlv: not null; its bytes are copied. mode: "r", "w",
 * "r-" (kept current by its owner), any other text means read and write. */
MOX_API void lom_init_property(OBJECT_PTR obj_ptr, guint32 property_index,
                               const gchar* property_name, const CONST_TLV_S* tlv,
                               const gchar* mode);

/* Names the accessor of one property of a record under construction; bad arguments are ignored.
 * accessor: cut to 31 characters, nullable (nothing is done). size: 0 does nothing, otherwise
 * without a meaning. */
MOX_API void lom_init_accessor(OBJECT_PTR obj_ptr, guint32 property_index, const gchar* accessor,
                               guint32 size);

/* Publishes a record in this process's object table; a record of the same name is replaced,
 * and freed when its last holder lets go. obj_ptr: nullable; passes to the table. Returns the
 * object's handle, 0 for null. Takes the object-table mutex. */
MOX_API OBJ_HANDLE lom_add_object(OBJECT_PTR obj_ptr);

/* Marks a record complete: only then can it be copied to other modules. obj_ptr: nullable; nobody
 * may delete the object between lom_add_object and this call. */
MOX_API void lom_ready_object(OBJECT_PTR obj_ptr);

/* Publishes a heap copy of a complete record that came from the owner.
 * size: must be sizeof(OBJECT_HEAD_S). data: the record, nullable, stays the caller's.
 * Returns the object's handle; 0 for a wrong size, null data or a record without a name. Any
 * process. Takes the object-table mutex. */
MOX_API OBJ_HANDLE lom_create_object(guint32 size, gconstpointer data);

/* Replaces a property's stored value in place, with a larger block when it has outgrown its own. No
 * event is sent. type: only its first character is compared with the property's. size: bytes at
 * data. Returns 0; MOX_ERR_NOT_PERMITTED when not the pool's owner; MOX_ERR_BAD_ARGUMENT for a null
 * argument; MOX_ERR_OBJECT_NOT_FOUND; MOX_ERR_PROPERTY_NOT_FOUND; MOX_ERR_INTERNAL for a property
 * without a record, or when the pool has no room for the larger value; MOX_ERR_TYPE_MISMATCH
 * (logged); MOX_ERR_SEMAPHORE. Takes the object's semaphore, which the calling thread must not
 * hold. */
MOX_API gint32 lom_realloc_property(const gchar* object_name, const gchar* property_name,
                                    const gchar* type, guint32 size, gconstpointer data);

/* Sets whether this process may write the object and write back what it reads live. Unknown handles
 * are ignored. */
MOX_API void lom_set_writable(OBJ_HANDLE obj_handle, OBJECT_CAPABILITY capability);

G_END_DECLS

#endif
