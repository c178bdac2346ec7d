// Made from the registry each time it is asked for, not from this process's route table: that one
// keeps every route for ever, and modules come and go as long as the owner lives.
#include "owner/route_list.hpp"

#include <algorithm>
#include <string>

namespace mox::host {
namespace {

ROUTE_S route_to(const JoinedModule& module, const std::string& key) {
    ROUTE_S route = {};
    g_strlcpy(route.target_name, key.c_str(), sizeof route.target_name);
    route.target.rpc_port = module.bitmap_id;
    route.target.msg_que_id = module.queue_id;
    return route;
}

}  // namespace

std::vector<ROUTE_S> live_routes(const ModuleRegistry& registry,
                                 const std::vector<ClassDef>& classes) {
    std::vector<const JoinedModule*> modules = registry.all();
    std::sort(modules.begin(), modules.end(),
              [](const JoinedModule* one, const JoinedModule* other) {
                  return one->join_number > other->join_number;
              });
    std::vector<ROUTE_S> routes;
    for (const JoinedModule* const module : modules) {
        for (auto entry = classes.rbegin(); entry != classes.rend(); ++entry) {
            if (entry->module == module->name) {
                routes.push_back(route_to(*module, entry->name));
            }
        }
        routes.push_back(route_to(*module, '_' + module->name));
    }
    return routes;
}

}  // namespace mox::host
