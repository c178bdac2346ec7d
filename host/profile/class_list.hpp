// The classes of a profile: read, checked against each other, and completed with the properties
// that they inherit.
#ifndef MOXHOST_PROFILE_CLASS_LIST_HPP
#define MOXHOST_PROFILE_CLASS_LIST_HPP

#include <json-glib/json-glib.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "profile/profile.hpp"

namespace mox::host {

// Finds classes by name; valid as long as the list is neither changed nor moved.
class ClassIndex {
public:
    explicit ClassIndex(const std::vector<ClassDef>& classes);

    // Null when there is no such class.
    const ClassDef* find(const std::string& name) const;

    // Whether the class is the ancestor or descends from it; FALSE for unknown names.
    bool is_type(const std::string& name, const std::string& ancestor) const;

private:
    std::unordered_map<std::string, const ClassDef*> by_name_;
};

// Throws a Fault for the first thing that is wrong: duplicate names, missing or cyclic parents,
// unknown types, a property that an ancestor has already, more than max_properties.
std::vector<ClassDef> read_classes(const std::vector<JsonNode*>& nodes);

}  // namespace mox::host

#endif
