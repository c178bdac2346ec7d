// Where the reference properties of a profile lead.
#ifndef MOXHOST_PROFILE_REFERENCE_TARGET_HPP
#define MOXHOST_PROFILE_REFERENCE_TARGET_HPP

#include <string>
#include <unordered_map>
#include <vector>

#include "profile/profile.hpp"

namespace mox::host {

// Each step of a read along references takes stack.
inline constexpr std::size_t max_reference_steps = 16;

// The property of that name, or null.
const PropertyValue* find_property(const ObjectDef& object, const std::string& name);

// A string is stored with its terminator, and a reference is a string: its text.
std::string text_in(const PropertyValue& property);

struct PropertyPlace {
    const ObjectDef* object = nullptr;
    const PropertyValue* property = nullptr;
};

// Finds objects by name; valid as long as the list is neither changed nor moved.
class ObjectIndex {
public:
    explicit ObjectIndex(const std::vector<ObjectDef>& objects);

    // Null when there is no such object.
    const ObjectDef* find(const std::string& name) const;

    // What a reference's text names, without following it further. Members are null for what does
    // not exist, and for a text that names nothing.
    PropertyPlace named(const std::string& text) const;

    // Follows references from a property to the first that is none, or names nothing. Members are
    // null for an unknown object or property, and behind more than max_reference_steps.
    PropertyPlace follow(const std::string& object, const std::string& property) const;

private:
    PropertyPlace place(const std::string& object, const std::string& property) const;

    std::unordered_map<std::string, const ObjectDef*> by_name_;
};

}  // namespace mox::host

#endif
