// The routes that the owner lists, and this process's own table of them.
#include "module/module.hpp"
#include "module/owner_link.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

// Whether the newest route of this process under the key leads to the same module.
bool is_known(const ROUTE_S& route) {
    GSList* list = nullptr;
    rut_get_list(&list);
    for (const GSList* item = list; item != nullptr; item = item->next) {
        const auto* const known = static_cast<const ROUTE_S*>(item->data);
        if (g_str_equal(known->target_name, route.target_name) != FALSE) {
            return known->target.rpc_port == route.target.rpc_port &&
                   known->target.msg_que_id == route.target.msg_que_id;
        }
    }
    return false;
}

void add_to_table(const ROUTE_S& route) {
    const gint32 port = route.target.rpc_port;
    const gint32 queue = route.target.msg_que_id;
    if (route.target_name[0] == '_') {
        rut_add_module(route.target_name + 1, port, queue);
    } else {
        rut_add_class(route.target_name, port, queue);
    }
}

// The newest last, so that it stands in front in the end.
void add_unknown(const ROUTE_S* routes, gsize count) {
    for (gsize at = count; at > 0; --at) {
        if (!is_known(routes[at - 1])) {
            add_to_table(routes[at - 1]);
        }
    }
}

}  // namespace
}  // namespace mox::host

using namespace mox::host;

ROUTE_S* moxhost_list_routes(MoxHostModule*, gsize* count, GError** error) {
    const VariantPtr reply = owner_link().call("ListRoutes", nullptr, wire::routes_reply, error);
    if (!reply) {
        return nullptr;
    }
    const VariantPtr list(g_variant_get_child_value(reply.get(), 0));
    const gsize length = g_variant_n_children(list.get());
    ROUTE_S* const routes = g_new0(ROUTE_S, length + 1);
    for (gsize at = 0; at < length; ++at) {
        ROUTE_S& route = routes[at];
        const gchar* name = nullptr;
        g_variant_get_child(list.get(), at, "(^&ayii)", &name, &route.target.rpc_port,
                            &route.target.msg_que_id);
        g_strlcpy(route.target_name, name, sizeof route.target_name);
    }
    add_unknown(routes, length);
    if (count != nullptr) {
        *count = length;
    }
    return routes;
}
