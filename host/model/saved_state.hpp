// What the store kept from earlier lives of the owner: values, and which properties are saved
// statically.
//
// A store is open in this process. What it cannot deliver is told in one log line and counts as not
// saved; nothing here changes what is saved.
#ifndef MOXHOST_MODEL_SAVED_STATE_HPP
#define MOXHOST_MODEL_SAVED_STATE_HPP

#include <moxplat/persist.h>

#include <optional>
#include <string>
#include <vector>

#include "profile/profile.hpp"

namespace mox::host {

// The bytes of the value that was saved last, of those that are still saved; nothing when none is,
// or when it is no value of the property's type (logged). References are not saved.
std::optional<std::string> saved_value(const ObjectDef& object, const PropertyValue& property);

// The same of one mode.
std::optional<std::string> saved_value(const ObjectDef& object, const PropertyValue& property,
                                       PER_MODE_E mode);

// The mode under which a value was saved last; nothing when none is saved.
std::optional<PER_MODE_E> newest_mode(const ObjectDef& object, const PropertyValue& property);

// Marks the object's properties as saved statically, or not, as the store recorded it. Without the
// lasting part of the store nothing is done.
void take_saved_states(const ObjectDef& object);

}  // namespace mox::host

#endif
