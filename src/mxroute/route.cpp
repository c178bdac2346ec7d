// The routes to modules and classes of this process. Entries are only ever put in front, and whole:
// a reader needs no lock, and a list that was handed out stays as it was.
#include "mxroute/route.hpp"

#include "base/mutex_guard.hpp"
#include "base/published.hpp"

GSList* g_route_list = nullptr;

G_LOCK_DEFINE_STATIC(g_route_list);

void _add_route(const gchar* key, const gchar* prefix, gint32 rpc_port, gint32 ipc_id) {
    ROUTE_S* route = g_new0(ROUTE_S, 1);
    g_strlcpy(route->target_name, prefix, sizeof(route->target_name));
    g_strlcat(route->target_name, key, sizeof(route->target_name));
    route->target.rpc_port = rpc_port;
    route->target.msg_que_id = ipc_id;
    const mox::MutexGuard guard(G_LOCK_NAME(g_route_list));
    mox::publish(g_route_list, g_slist_prepend(g_route_list, route));
}

void rut_add_module(const gchar* module_name, gint32 rpc_port, gint32 ipc_id) {
    if (module_name != nullptr && rpc_port != 0) {
        _add_route(module_name, "_", rpc_port, ipc_id);
    }
}

void rut_add_class(const gchar* class_name, gint32 rpc_port, gint32 ipc_id) {
    if (class_name != nullptr && rpc_port != 0) {
        _add_route(class_name, "", rpc_port, ipc_id);
    }
}

void rut_get_list(GSList** list) {
    if (list != nullptr) {
        *list = mox::read_published(g_route_list);
    }
}
