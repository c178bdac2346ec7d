// The routes to the modules that have joined, and to the classes that they serve.
#ifndef MOXHOST_OWNER_ROUTE_LIST_HPP
#define MOXHOST_OWNER_ROUTE_LIST_HPP

#include <mxroute.h>

#include <vector>

#include "owner/module_registry.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// The routes of the modules that are joined now: the newest module's first, its classes' before its
// own, the last class first. A module's bitmap id stands for its RPC port: calls to it would go by
// its connection, which that id names.
std::vector<ROUTE_S> live_routes(const ModuleRegistry& registry,
                                 const std::vector<ClassDef>& classes);

}  // namespace mox::host

#endif
