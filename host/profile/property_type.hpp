// The types that a profile may give a property, a parameter or a constant.
#ifndef MOXHOST_PROFILE_PROPERTY_TYPE_HPP
#define MOXHOST_PROFILE_PROPERTY_TYPE_HPP

#include <optional>
#include <string>

#include "profile/fault.hpp"
#include "profile/profile.hpp"

namespace mox::host {

struct PropertyType {
    std::string gvariant;
    PropertyKind kind;
};

// Reads the text of a property's "type" member. Nothing, and a fault at the place, when it is none
// of the allowed types.
std::optional<PropertyType> parse_property_type(const std::string& text, const std::string& place,
                                                Faults& faults);

// The same for a plain value's type; a reference is none. more: what else the fault tells to be
// allowed.
std::optional<std::string> parse_value_type(const std::string& text, const std::string& place,
                                            Faults& faults, const char* more = "");

// Whether values of the type have one size, so that hardware can deliver them.
bool is_fixed_size(const std::string& type);

}  // namespace mox::host

#endif
