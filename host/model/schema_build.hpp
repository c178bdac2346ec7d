// From the classes of a checked profile to the class tree and the class registry, in the pool's
// owner.
#ifndef MOXHOST_MODEL_SCHEMA_BUILD_HPP
#define MOXHOST_MODEL_SCHEMA_BUILD_HPP

#include <string>
#include <vector>

#include "profile/profile.hpp"

namespace mox::host {

// Makes the tree and registers every class, in the profile's order, linked to its parent. A class
// has all its properties in the tree, inherited ones first, and its own methods; what it has none
// of, it has no array of. The pool exists. Once in a process's life. Returns an empty string, or
// the name of the first class for which the pool had no room.
std::string build_schema(const std::vector<ClassDef>& classes);

}  // namespace mox::host

#endif
