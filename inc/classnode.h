/* classnode.h: the class registry and the listener ports of its properties.
 *
 * A class has a shared record in the pool, made by the pool's owner and read by every process, and
 * a private record on the owner's heap. Each process finds classes by name in a table of its own.
 * The class-table lock guards that table, the object lists and the walk of the listener lists
 * within a process; readers in other processes take no lock. */
#ifndef MOX_CLASSNODE_H
#define MOX_CLASSNODE_H

#include <moxlib/moxbase.h>
#include <stdio.h>

G_BEGIN_DECLS

/* Change state of a class, kept by the owner. */
typedef enum tag_class_state {
    CLASS_OBJECT_NULL = 0,    /* nothing yet */
    CLASS_OBJECT_ARCHIVE = 1, /* the collection is up to date */
    CLASS_OBJECT_ADDED = 2,   /* an object was added since */
    CLASS_OBJECT_DELETED = 3  /* an object was deleted since */
} CLASS_STATE_E;

/* The ports that listen to one property, in the pool. Allocated once with room for the limit of the
 * call that made it; never grown. */
typedef struct tag_listener_array_head {
    guint8 count; /* ports in use; a port is written before count includes it */
    guint16 room; /* ports that fit; lies in the alignment gap and only guards the block's end */
    G_GNUC_EXTENSION guint32 ipc_port[]; /* in registration order, without duplicates */
} LISTENER_ARRAY_HEAD_S;

/* One property with listeners, in the pool; nodes stand in the order of their first registration.
 */
typedef struct tag_serialized_listener {
    gchar* property_name;                  /* pool copy, at most 31 characters */
    LISTENER_ARRAY_HEAD_S* listener_array; /* null when the pool had no room for it */
    struct tag_serialized_listener* next;
} SERIALIZED_LISTENER_LIST_S;

/* The part of a class that all processes share, in the pool. */
typedef struct tag_share_class_data {
    gchar* class_name;                          /* pool copy, at most 31 characters */
    struct tag_share_class_data* parent;        /* null for a root class */
    struct tag_share_class_data* next;          /* next in the chain of all classes */
    SERIALIZED_LISTENER_LIST_S* listener_array; /* head of the per-property listener list */
} SHARE_CLASS_DATA_S;

/* The part of a class that only the owner has, on its heap. */
typedef struct tag_private_class_data {
    CLASS_STATE_E state;
    OBJ_HANDLE collection_object; /* 0: none */
    MDL_HANDLE owned_module;
    GSList* object_list;     /* OBJ_HANDLE, newest first */
    GSList* new_object_list; /* added since it was last cleared, newest first */
} PRIVATE_CLASS_DATA_S;

/* A process's node of a class. */
typedef struct tag_module_class_node {
    SHARE_CLASS_DATA_S* share;  /* null until this process has attached it */
    PRIVATE_CLASS_DATA_S* priv; /* null but in the owner */
} MODULE_CLASS_NODE_S;

/* Handle of a class; null is "no class". */
typedef MODULE_CLASS_NODE_S* CLS_HANDLE;

/* Creates a class: in the owner with its shared and private record, elsewhere an empty node.
 * class_name: nullable. Returns the handle, which lives as long as the process; null for a null or
 * known name (logged) and when the pool is exhausted. Takes the class-table lock. */
MOX_API CLS_HANDLE cls_create_class(const gchar* class_name);

/* Attaches this process's classes to the owner's shared records.
 * share_data_base: the owner's cls_get_share_base, nullable (nothing is done). A base that is set
 * already stays. For any process but the owner. Takes the class-table lock. */
MOX_API void cls_init_share_data(gpointer share_data_base);

/* Gives the first shared record, which the owner hands to the other processes; null before the
 * first class. */
MOX_API gpointer cls_get_share_base(void);

/* Links a class to its parent. Owner only, while the profile is loaded. Null handles and handles
 * without a shared record are ignored. */
MOX_API void cls_set_parent(CLS_HANDLE class_handle, CLS_HANDLE class_parent);

/* Links a class to the next one of the chain of all classes. As cls_set_parent. */
MOX_API void cls_set_next(CLS_HANDLE class_handle, CLS_HANDLE class_next);

/* Finds a class in this process's table. class_name: nullable. Returns null when unknown. Takes the
 * class-table lock. */
MOX_API CLS_HANDLE cls_get_class(const gchar* class_name);

/* Tells whether this process's table holds a class, without taking the lock. class_name: nullable.
 */
MOX_API gboolean cls_is_exist(const gchar* class_name);

/* Tells whether a class is, or descends from, class_type. Null arguments and handles without a
 * shared record: FALSE. */
MOX_API gboolean cls_is_type(CLS_HANDLE class_handle, const gchar* class_type);

/* Tells the same by names; equal names are TRUE without a lookup. A class that this process does
 * not know yet is attached. Null arguments: FALSE. Takes the class-table lock. */
MOX_API gboolean cls_name_is_type(const gchar* class_name, const gchar* class_type);

/* Gives the handle of the class itself (settled so: code that needs the parent reads the shared
 * record). Returns null for a null handle or one without a shared record. Takes the class-table
 * lock. */
MOX_API CLS_HANDLE cls_get_parent(CLS_HANDLE class_handle);

/* Gives a class's name: the pool's own string, not to be freed; null without handle or shared
 * record. */
MOX_API const gchar* cls_get_class_name(CLS_HANDLE class_handle);

/* Calls func(name, CLS_HANDLE, user_data) for every class of this process's table, without taking
 * the lock: no class may be created meanwhile. func: not null. */
MOX_API void cls_class_foreach(GHFunc func, gpointer user_data);

/* Accessors of the private record. A null handle or one without a private record reads as 0 or null
 * and ignores writes. */
MOX_API CLASS_STATE_E cls_get_state(CLS_HANDLE class_handle);
MOX_API void cls_set_state(CLS_HANDLE class_handle, CLASS_STATE_E state);
MOX_API OBJ_HANDLE cls_get_collection_object(CLS_HANDLE class_handle);
MOX_API void cls_set_collection_object(CLS_HANDLE class_handle, OBJ_HANDLE collection_object);
MOX_API MDL_HANDLE cls_get_module(CLS_HANDLE class_handle);
MOX_API void cls_set_module(CLS_HANDLE class_handle, MDL_HANDLE owned_module);

/* Adds an object to its class's lists and marks the class CLASS_OBJECT_ADDED; duplicates are not
 * looked for. Owner only. class_name: nullable. obj_handle: 0 is ignored. An unknown class is
 * logged. Takes the class-table lock. */
MOX_API void cls_add_object(const gchar* class_name, OBJ_HANDLE obj_handle);

/* Removes the first occurrence of an object from its class's object list and marks the class
 * CLASS_OBJECT_DELETED. The new-object list keeps it until it is cleared. Owner only. obj_handle: 0
 * and unknown objects are ignored, an unknown class is logged. Takes the class-table lock, and the
 * object-table mutex before it. */
MOX_API void cls_del_object(OBJ_HANDLE obj_handle);

/* Counts a class's objects; 0 without a private record. Takes the class-table lock. */
MOX_API guint32 cls_get_object_count(CLS_HANDLE class_handle);

/* Copies a class's list of objects (OBJ_HANDLE as GINT_TO_POINTER, newest first).
 * object_list: receives the copy, freed by the caller with g_slist_free.
 * Returns 0; MOX_ERR_BAD_ARGUMENT for null arguments; MOX_ERR_OBJECT_NOT_FOUND without a private
 * record or with an empty list. Takes the class-table lock. */
MOX_API gint32 cls_get_object_list(CLS_HANDLE class_handle, GSList** object_list);

/* The same for the objects added since cls_clear_newobj_list. */
MOX_API gint32 cls_get_newobj_list(CLS_HANDLE class_handle, GSList** object_list);

/* Empties the list of new objects. Takes the class-table lock. */
MOX_API void cls_clear_newobj_list(CLS_HANDLE class_handle);

/* Sees the names of a class's new objects: gchar* elements, oldest first, null for one that could
 * not be copied; the caller's, freed when the function returns. */
typedef void (*NewObjNotifyFunc)(CLS_HANDLE class_handle, GSList* object_names);

/* Rebuilds a class's collection object (lom/collection.h) when objects were added or deleted since
 * the last time, and forgets which objects are new; without a change it does nothing.
 * class_name: for messages, nullable (nothing is done). class_handle: nullable (nothing is done).
 * func: nullable; called without a lock, and only when there are new objects. A class without
 * objects is left as it is: its collection keeps the last contents. Owner only (elsewhere no class
 * changes); one call at a time for a class. Takes the class-table lock, and those of
 * lom_create_collection, one after the other. */
MOX_API void cls_create_collection(const gchar* class_name, CLS_HANDLE class_handle,
                                   NewObjNotifyFunc func);

/* Registers a message-queue port for changes of a class's property. Owner only; calls must not run
 * at the same time. class_handle, property_name: nullable (nothing is done). port: queue id; a
 * known one is not added twice. max_cnt: limit of ports, at most 255, the same in every call for a
 * property; the first port is always kept, one over the limit is dropped silently. */
MOX_API void cls_add_listener_port(CLS_HANDLE class_handle, const gchar* property_name, gint32 port,
                                   gint32 max_cnt);

/* Gives the ports that listen to a class's property.
 * listener_list: receives a new list of GINT_TO_POINTER(port), the newest registration first, or
 * null when none listens; freed by the caller with g_slist_free. Returns 0, also for unknown names;
 * MOX_ERR_BAD_ARGUMENT for null arguments. Any process, any thread. Takes the class-table lock. */
MOX_API gint32 cls_get_listener_list(const gchar* class_name, const gchar* property_name,
                                     GSList** listener_list);

/* Gives the head node (SERIALIZED_LISTENER_LIST_S) of a class's listener list, or null. */
MOX_API gpointer cls_get_serialized_listener_list(CLS_HANDLE class_handle);

/* Replaces a class's listener list; the old one is not freed, other processes may still walk it.
 * Owner only. Null arguments are ignored. */
MOX_API void cls_set_serialized_listener_list(CLS_HANDLE class_handle, gpointer list);

/* Prints every class of this process's table: owning module, objects, listeners. stream: nullable.
 * Takes the class-table lock, and the object-name table below it. */
MOX_API void cls_debug_print(FILE* stream);

/* A GFunc for lists of CLS_HANDLE: prints the class's name and ", " to the FILE* in user_data. */
MOX_API void dump_traverse_class(gpointer data, gpointer user_data);

G_END_DECLS

#endif
