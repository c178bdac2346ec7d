// The classes of a profile: read, checked against each other, and completed with the properties
// that they inherit.
#ifndef MOXHOST_PROFILE_CLASS_LIST_HPP
#define MOXHOST_PROFILE_CLASS_LIST_HPP

#include <json-glib/json-glib.h>

#include <string>
#include <unordered_map>
#include <vector>

#include "profile/fault.hpp"
#include "profile/profile.hpp"

namespace mox::host {

// Finds classes by name, the first of a name; valid as long as the list is neither changed nor
// moved.
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

// Reads one class for each node, complete as far as that is possible. Notes all that is wrong:
// duplicate names and ids, missing or cyclic parents, unknown types, a property that an ancestor
// has already, more than max_properties. A class with a fault that leaves open what its objects
// have is noted as a doubtful one, and so are those that descend from it; such a class may have
// lost its parent here, so that every chain of parents ends.
std::vector<ClassDef> read_classes(const std::vector<JsonNode*>& nodes, Faults& faults);

}  // namespace mox::host

#endif
