// What the objects of a profile say about each other: mutex objects, accessors, chips and buses,
// references.
#ifndef MOXHOST_PROFILE_OBJECT_LINKS_HPP
#define MOXHOST_PROFILE_OBJECT_LINKS_HPP

#include "profile/class_list.hpp"
#include "profile/fault.hpp"
#include "profile/object_list.hpp"

namespace mox::host {

// Notes every link that leads nowhere, to an object of the wrong kind, to another board, or in a
// circle: the object model follows chips, buses and references to any depth.
void check_object_links(const ObjectList& list, const ClassIndex& classes, Faults& faults);

}  // namespace mox::host

#endif
