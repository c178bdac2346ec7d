// The boards of a profile, with their objects.
#ifndef MOXHOST_PROFILE_BOARD_LIST_HPP
#define MOXHOST_PROFILE_BOARD_LIST_HPP

#include <json-glib/json-glib.h>

#include <vector>

#include "profile/object_list.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// Reads one board for each node and adds its objects to the list, which has all objects that are
// always there. Notes all that is wrong with each board and object by itself, and names and
// positions that are taken.
std::vector<BoardDef> read_boards(const std::vector<JsonNode*>& nodes, const ClassIndex& classes,
                                  Faults& faults, ObjectList& list);

}  // namespace mox::host

#endif
