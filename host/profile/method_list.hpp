// The methods of a class: what a caller has to know of them. Nothing here runs them.
#ifndef MOXHOST_PROFILE_METHOD_LIST_HPP
#define MOXHOST_PROFILE_METHOD_LIST_HPP

#include <string>
#include <vector>

#include "profile/json_members.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// Reads the member "methods" of a class. Faults are noted for what is wrong; such methods,
// parameters and constants are left out.
std::vector<MethodDef> read_methods(const Members& of_class, Faults& faults);

}  // namespace mox::host

#endif
