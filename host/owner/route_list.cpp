// A route in the table is live when the module with its number has its queue and its key.
#include "owner/route_list.hpp"

#include <algorithm>
#include <string>

namespace mox::host {
namespace {

// A key as the table cuts it.
std::string key_of(const std::string& target) {
    return target.substr(0, RUT_KEY_LENGTH - 1);
}

bool leads_to(const ROUTE_S& route, const JoinedModule& module,
              const std::vector<ClassDef>& classes) {
    const std::string key = route.target_name;
    return route.target.msg_que_id == module.queue_id &&
           (key == key_of('_' + module.name) ||
            std::any_of(classes.begin(), classes.end(), [&](const ClassDef& entry) {
                return entry.module == module.name && key == key_of(entry.name);
            }));
}

bool are_equal(const ROUTE_S& one, const ROUTE_S& other) {
    return g_str_equal(one.target_name, other.target_name) != FALSE &&
           one.target.rpc_port == other.target.rpc_port &&
           one.target.msg_que_id == other.target.msg_que_id;
}

}  // namespace

void add_routes(const JoinedModule& module, const std::vector<ClassDef>& classes) {
    rut_add_module(module.name.c_str(), module.bitmap_id, module.queue_id);
    for (const ClassDef& entry : classes) {
        if (entry.module == module.name) {
            rut_add_class(entry.name.c_str(), module.bitmap_id, module.queue_id);
        }
    }
}

std::vector<ROUTE_S> live_routes(const ModuleRegistry& registry,
                                 const std::vector<ClassDef>& classes) {
    std::vector<ROUTE_S> live;
    GSList* list = nullptr;
    rut_get_list(&list);
    for (const GSList* item = list; item != nullptr; item = item->next) {
        const ROUTE_S& route = *static_cast<const ROUTE_S*>(item->data);
        const JoinedModule* const module = registry.find(route.target.rpc_port);
        // A module that came back may have got its old numbers again.
        const bool is_listed =
            std::any_of(live.begin(), live.end(),
                        [&route](const ROUTE_S& newer) { return are_equal(newer, route); });
        if (module != nullptr && !is_listed && leads_to(route, *module, classes)) {
            live.push_back(route);
        }
    }
    return live;
}

}  // namespace mox::host
