// The objects of a profile: read, with a value for every property of their class.
#ifndef MOXHOST_PROFILE_OBJECT_LIST_HPP
#define MOXHOST_PROFILE_OBJECT_LIST_HPP

#include <json-glib/json-glib.h>

#include <vector>

#include "profile/class_list.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// Throws a Fault for the first thing that is wrong with an object by itself: its name, class,
// members, values.
std::vector<ObjectDef> read_objects(const std::vector<JsonNode*>& nodes, const ClassIndex& classes);

}  // namespace mox::host

#endif
