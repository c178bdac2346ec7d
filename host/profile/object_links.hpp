// What the objects of a profile say about each other: mutex objects, accessors, chips and buses,
// references.
#ifndef MOXHOST_PROFILE_OBJECT_LINKS_HPP
#define MOXHOST_PROFILE_OBJECT_LINKS_HPP

#include <vector>

#include "profile/class_list.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// Throws a Fault for the first link that leads nowhere, to an object of the wrong kind, or in a
// circle: the object model follows chips, buses and references to any depth.
void check_object_links(const std::vector<ObjectDef>& objects, const ClassIndex& classes);

}  // namespace mox::host

#endif
