// Internal view of the route table.
#ifndef MOX_MXROUTE_ROUTE_HPP
#define MOX_MXROUTE_ROUTE_HPP

#include <mxroute.h>

// The routes, ROUTE_S, newest first; null when there is none.
extern GSList* g_route_list;

// Puts a route in front of all others, its key made of prefix and key. key, prefix: not null.
void _add_route(const gchar* key, const gchar* prefix, gint32 rpc_port, gint32 ipc_id);

#endif
