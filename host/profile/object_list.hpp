// The objects of a profile: read, with a value for every property of their class.
#ifndef MOXHOST_PROFILE_OBJECT_LIST_HPP
#define MOXHOST_PROFILE_OBJECT_LIST_HPP

#include <json-glib/json-glib.h>

#include <set>
#include <string>
#include <vector>

#include "profile/class_list.hpp"
#include "profile/fault.hpp"
#include "profile/profile.hpp"

namespace mox::host {

struct ObjectList {
    std::vector<ObjectDef> objects;
    std::vector<std::string> places;  // of each object, for faults
    std::set<std::string> names;
};

// Whose objects a list holds.
struct ObjectHome {
    std::string place;  // in front of each object's place: "" or the board's and a blank
    const BoardDef* board = nullptr;  // null for what is always there
};

// Adds one object for each node. Notes all that is wrong with each by itself: its name, class,
// members, values. An object with a fault is noted as a doubtful one.
void read_objects(const std::vector<JsonNode*>& nodes, const ObjectHome& home,
                  const ClassIndex& classes, Faults& faults, ObjectList& list);

}  // namespace mox::host

#endif
