// The types that a profile may give a property.
#ifndef MOXHOST_PROFILE_PROPERTY_TYPE_HPP
#define MOXHOST_PROFILE_PROPERTY_TYPE_HPP

#include <string>

#include "profile/profile.hpp"

namespace mox::host {

// Reads the text of a "type" member. Throws a Fault at the place when it is none of the allowed
// types.
struct PropertyType {
    std::string gvariant;
    PropertyKind kind;
};
PropertyType parse_property_type(const std::string& text, const std::string& place);

// Whether values of the type have one size, so that hardware can deliver them.
bool is_fixed_size(const std::string& type);

}  // namespace mox::host

#endif
