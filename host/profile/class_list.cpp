// Classes are read first and checked afterwards, so that parents may stand behind their children.
#include "profile/class_list.hpp"

#include <set>

#include "profile/fault.hpp"
#include "profile/json_members.hpp"
#include "profile/property_type.hpp"

namespace mox::host {
namespace {

constexpr const char* list_name = "classes";

std::string place_of(const std::vector<ClassDef>& classes, std::size_t at) {
    return place_in(list_name, at, classes[at].name);
}

PropertyDef read_property(JsonNode* node, const std::string& class_place, std::size_t at) {
    Members members(node, class_place + ' ' + place_in("properties", at), {"name", "type"});
    PropertyDef property;
    property.name = members.name("name");
    const std::string place = class_place + " property " + quoted(property.name);
    members.set_place(place);
    if (members.find("type") == nullptr) {
        members.fail("\"type\" is missing");
    }
    const PropertyType type = parse_property_type(members.text("type", ""), place);
    property.type = type.gvariant;
    property.kind = type.kind;
    return property;
}

ClassDef read_class(JsonNode* node, std::size_t at) {
    Members members(node, place_in(list_name, at), {"name", "parent", "module", "properties"});
    ClassDef result;
    result.name = members.name("name");
    const std::string place = place_in(list_name, at, result.name);
    members.set_place(place);
    result.parent = members.name_or_none("parent");
    result.module = members.name_or_none("module");
    if (members.find("properties") != nullptr) {
        for (JsonNode* const property : members.list("properties")) {
            result.properties.push_back(read_property(property, place, result.properties.size()));
        }
    }
    return result;
}

// The class itself, its parent, and so on up to the root; throws for a parent that is missing or
// among them already.
std::vector<const ClassDef*> line_of(const std::vector<ClassDef>& classes, std::size_t at,
                                     const ClassIndex& index) {
    std::vector<const ClassDef*> line{&classes[at]};
    while (!line.back()->parent.empty()) {
        const ClassDef* const parent = index.find(line.back()->parent);
        if (parent == nullptr) {
            const auto child = static_cast<std::size_t>(line.back() - classes.data());
            throw Fault{
                place_of(classes, child),
                "\"parent\" names class " + quoted(line.back()->parent) + ", which does not exist"};
        }
        line.push_back(parent);
        if (line.size() > classes.size()) {
            throw Fault{place_of(classes, at), "the chain of parents from here runs in a circle"};
        }
    }
    return line;
}

void add_inherited(std::vector<ClassDef>& classes, std::size_t at, const ClassIndex& index) {
    const std::vector<const ClassDef*> line = line_of(classes, at, index);
    std::unordered_map<std::string, const ClassDef*> origin;
    ClassDef& result = classes[at];
    for (auto ancestor = line.rbegin(); ancestor != line.rend(); ++ancestor) {
        for (const PropertyDef& property : (*ancestor)->properties) {
            const auto [known, added] = origin.emplace(property.name, *ancestor);
            if (!added) {
                const std::string whose =
                    known->second == *ancestor
                        ? "appears twice in the class"
                        : "is inherited from class " + quoted(known->second->name) + " already";
                const auto child = static_cast<std::size_t>(*ancestor - classes.data());
                throw Fault{place_of(classes, child) + " property " + quoted(property.name), whose};
            }
            result.all_properties.push_back(property);
        }
    }
    if (result.all_properties.size() > max_properties) {
        throw Fault{place_of(classes, at),
                    "has " + std::to_string(result.all_properties.size()) +
                        " properties, inherited ones included; the limit is " +
                        std::to_string(max_properties)};
    }
}

}  // namespace

ClassIndex::ClassIndex(const std::vector<ClassDef>& classes) {
    for (const ClassDef& entry : classes) {
        by_name_.emplace(entry.name, &entry);
    }
}

const ClassDef* ClassIndex::find(const std::string& name) const {
    const auto found = by_name_.find(name);
    return found == by_name_.end() ? nullptr : found->second;
}

bool ClassIndex::is_type(const std::string& name, const std::string& ancestor) const {
    const ClassDef* entry = find(name);
    while (entry != nullptr && entry->name != ancestor) {
        entry = entry->parent.empty() ? nullptr : find(entry->parent);
    }
    return entry != nullptr;
}

std::vector<ClassDef> read_classes(const std::vector<JsonNode*>& nodes) {
    std::vector<ClassDef> classes;
    std::set<std::string> names;
    for (JsonNode* const node : nodes) {
        classes.push_back(read_class(node, classes.size()));
        if (!names.insert(classes.back().name).second) {
            throw Fault{place_of(classes, classes.size() - 1), "an earlier class has this name"};
        }
    }
    const ClassIndex index(classes);
    for (std::size_t at = 0; at < classes.size(); ++at) {
        add_inherited(classes, at, index);
    }
    return classes;
}

}  // namespace mox::host
