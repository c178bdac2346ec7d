// The modules of a profile: who may join, and what each may do.
#ifndef MOXHOST_PROFILE_MODULE_LIST_HPP
#define MOXHOST_PROFILE_MODULE_LIST_HPP

#include <json-glib/json-glib.h>

#include <vector>

#include "profile/class_list.hpp"
#include "profile/fault.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// Reads one entry for each node. Notes all that is wrong with each by itself, names that are taken,
// and classes that do not exist.
std::vector<ModuleRights> read_modules(const std::vector<JsonNode*>& nodes,
                                       const ClassIndex& classes, Faults& faults);

}  // namespace mox::host

#endif
