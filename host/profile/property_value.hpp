// Values of properties: from JSON to the bytes that the object model stores.
#ifndef MOXHOST_PROFILE_PROPERTY_VALUE_HPP
#define MOXHOST_PROFILE_PROPERTY_VALUE_HPP

#include <json-glib/json-glib.h>

#include <optional>
#include <string>

#include "profile/fault.hpp"

namespace mox::host {

// The value in serialized form. type: a type of parse_value_type(). node: JSON that fits it
// exactly; for types other than "s" a JSON string holds the value in GVariant text. Nothing, and
// faults at the place, when it does not fit.
std::optional<std::string> value_bytes(JsonNode* node, const std::string& type,
                                       const std::string& place, Faults& faults);

// The type's zero value: 0, FALSE, "" or the empty array.
std::string zero_bytes(const std::string& type);

}  // namespace mox::host

#endif
