/* mxroute.h: the routes by which a process reaches a module, or the module that serves a class.
 *
 * Each process has a table of its own, which only grows. Any thread may call; the route-list lock
 * guards adding and is held together with no other lock. */
#ifndef MOX_MXROUTE_H
#define MOX_MXROUTE_H

#include <moxlib/moxbase.h>

G_BEGIN_DECLS

#define RUT_KEY_LENGTH 32 /* bytes of a key: at most 31 characters */

/* Where a module is reached. */
typedef struct tag_target_info {
    gint32 rpc_port;   /* never 0 in the table */
    gint32 msg_que_id; /* id of its message queue */
} ROUTE_TARGET_S;

/* One route. */
typedef struct tag_route {
    gchar target_name[RUT_KEY_LENGTH]; /* "_" and the module's name, or the class's bare name */
    ROUTE_TARGET_S target;
} ROUTE_S;

/* Adds a route to a module, in front of all others; one that is there under the same key stays
 * behind it.
 * module_name: nullable (nothing is added), the key is cut to 31 characters. rpc_port: 0 adds
 * nothing. ipc_id: the module's message queue, any number. Takes the route-list lock. */
MOX_API void rut_add_module(const gchar* module_name, gint32 rpc_port, gint32 ipc_id);

/* Adds a route to the module that serves a class. As rut_add_module. */
MOX_API void rut_add_class(const gchar* class_name, gint32 rpc_port, gint32 ipc_id);

/* Gives all routes, the newest first.
 * list: receives a list of ROUTE_S, null when there is none; nullable (nothing is done). List and
 * routes stay the table's: the caller frees nothing. What is added later stands in front of the
 * list that was given, which stays as it is. Takes no lock. */
MOX_API void rut_get_list(GSList** list);

G_END_DECLS

#endif
