// The collection objects of the model's classes: for each class that has objects, one that lists
// them.
#ifndef MOXHOST_MODEL_COLLECTIONS_HPP
#define MOXHOST_MODEL_COLLECTIONS_HPP

#include <classnode.h>

#include <set>
#include <string>
#include <vector>

#include "profile/profile.hpp"

namespace mox::host {

// The classes that objects have, not those that these derive from.
std::set<std::string> classes_of(const std::vector<const ObjectDef*>& objects);

// Has the collections of registered classes list the objects that there are now. A class without
// objects keeps the collection that it had. notify: nullable; is told the new objects of each
// class. Returns an empty string, or the class for whose collection the pool had no room; the
// others are brought up to date nevertheless.
std::string rebuild_collections(const std::set<std::string>& class_names, NewObjNotifyFunc notify);

}  // namespace mox::host

#endif
