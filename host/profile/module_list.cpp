// An entry with a fault gives less than it was meant to, never more: a right that cannot be read is
// left out.
#include "profile/module_list.hpp"

#include <set>
#include <string>

#include "profile/json_members.hpp"

namespace mox::host {
namespace {

constexpr const char* every = "*";

class ModuleReader {
public:
    ModuleReader(const ClassIndex& classes, Faults& faults) : classes_(classes), faults_(faults) {}

    ModuleRights read(JsonNode* node, std::size_t at) {
        Members members(node, place_in("modules", at), faults_,
                        {"name", "read", "write", "override", "manage"});
        ModuleRights rights;
        rights.name = members.own_name();
        members.set_place(place_in("modules", at, rights.name));
        const std::size_t star = rights.name.find('*');
        if (star != std::string::npos && star + 1 != rights.name.size()) {
            members.fail("\"name\" " + quoted(rights.name) +
                         R"( has a "*" that is not its last character)");
        }
        if (!rights.name.empty() && !names_.insert(rights.name).second) {
            members.fail("an earlier entry has this name");
        }
        rights.read = members.find("read") == nullptr ? std::vector<std::string>{every}
                                                      : read_list(members, "read");
        rights.write = read_list(members, "write");
        rights.override_them = read_list(members, "override");
        rights.manage = members.flag("manage", false);
        return rights;
    }

private:
    std::vector<std::string> read_list(const Members& members, const char* member) {
        std::vector<std::string> names;
        std::set<std::string> known;
        for (JsonNode* const node : members.list_or_none(member)) {
            const std::string what = std::string("\"") + member + '"';
            const bool is_text =
                JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_STRING;
            if (!is_text) {
                members.fail(what + " must be a list of strings, not of " + kind_of(node));
                continue;
            }
            const std::string name = json_node_get_string(node);
            const bool is_known = name == every || classes_.find(name) != nullptr;
            if (!is_known && !faults_.has_nameless_class()) {
                members.fail(what + " names class " + quoted(name) + ", which does not exist");
            } else if (!known.insert(name).second) {
                members.fail(what + " names class " + quoted(name) + " twice");
            } else {
                names.push_back(name);
            }
        }
        return names;
    }

    const ClassIndex& classes_;
    Faults& faults_;
    std::set<std::string> names_;
};

}  // namespace

std::vector<ModuleRights> read_modules(const std::vector<JsonNode*>& nodes,
                                       const ClassIndex& classes, Faults& faults) {
    ModuleReader reader(classes, faults);
    std::vector<ModuleRights> modules;
    modules.reserve(nodes.size());
    for (JsonNode* const node : nodes) {
        modules.push_back(reader.read(node, modules.size()));
    }
    return modules;
}

}  // namespace mox::host
