// A property that the profile does not mention gets its type's zero value.
#include "profile/object_list.hpp"

#include <array>
#include <set>
#include <utility>

#include "profile/expression_check.hpp"
#include "profile/fault.hpp"
#include "profile/json_members.hpp"
#include "profile/property_type.hpp"
#include "profile/property_value.hpp"

namespace mox::host {
namespace {

constexpr const char* list_name = "objects";
constexpr std::uint32_t lowest_position = 1;
constexpr std::uint32_t highest_position = 4294967294U;

void check_object_name(const std::string& name, const std::string& place) {
    // "object.property" names a property, so a point would make such a name ambiguous.
    if (name.find('.') != std::string::npos) {
        throw Fault{place, "an object's name must not contain \".\""};
    }
}

// A result is never current by itself: its live reads are what computes and announces it.
std::string default_mode(bool is_result, bool has_accessor) {
    return is_result || has_accessor ? "r" : "r-";
}

std::string read_mode(const Members& members, const std::string& fallback) {
    std::string mode = members.text("mode", fallback.c_str());
    if (mode != "r" && mode != "w" && mode != "rw" && mode != "r-") {
        members.fail("\"mode\" is " + quoted(mode) + R"(; known are "r", "w", "rw" and "r-")");
    }
    return mode;
}

PersistMode read_persist(const Members& members, PropertyKind kind) {
    constexpr std::array<std::pair<const char*, PersistMode>, 4> words{{
        {"none", PersistMode::none},
        {"power-off", PersistMode::power_off},
        {"reset", PersistMode::reset},
        {"permanent", PersistMode::permanent},
    }};
    const std::string text = members.text("persist", "none");
    for (const auto& [word, mode] : words) {
        if (text == word) {
            if (kind == PropertyKind::reference && mode != PersistMode::none) {
                members.fail("a reference is not saved; give \"persist\" to what it names");
            }
            return mode;
        }
    }
    members.fail("\"persist\" is " + quoted(text) +
                 R"(; known are "permanent", "power-off", "reset" and "none")");
}

void read_long_form(JsonNode* node, const std::string& place, bool is_result,
                    PropertyValue& property) {
    const Members members(node, place, {"value", "accessor", "mode", "persist"});
    if (JsonNode* const value = members.find("value"); value != nullptr) {
        property.bytes = value_bytes(value, property.type, place);
    }
    property.accessor = members.name_or_none("accessor");
    property.mode = read_mode(members, default_mode(is_result, !property.accessor.empty()));
    property.persist = read_persist(members, property.kind);
    if (!property.accessor.empty() && !is_fixed_size(property.type)) {
        members.fail("type " + quoted(property.type) +
                     " cannot have an accessor; hardware delivers b, y, n, q, i, u and d");
    }
}

void read_properties(const Members& members, const ClassDef& of_class, const std::string& place,
                     ObjectDef& object) {
    std::unordered_map<std::string, std::size_t> index;
    for (const PropertyDef& property : of_class.all_properties) {
        index.emplace(property.name, object.properties.size());
        object.properties.push_back(
            {property.name, property.type, property.kind, zero_bytes(property.type), "",
             default_mode(is_formula_result(of_class.name, property.name), false)});
    }
    for (const Members::Member& member : members.map("properties")) {
        const std::string property_place = place + " property " + quoted(member.name);
        const auto found = index.find(member.name);
        if (found == index.end()) {
            throw Fault{property_place, "class " + quoted(of_class.name) + " has no such property"};
        }
        PropertyValue& property = object.properties[found->second];
        if (JSON_NODE_HOLDS_OBJECT(member.node)) {
            read_long_form(member.node, property_place,
                           is_formula_result(of_class.name, property.name), property);
        } else {
            property.bytes = value_bytes(member.node, property.type, property_place);
        }
    }
}

ObjectDef read_object(JsonNode* node, std::size_t at, const ClassIndex& classes) {
    Members members(node, place_in(list_name, at),
                    {"name", "class", "type", "position", "mutex", "properties"});
    ObjectDef object;
    object.name = members.name("name");
    const std::string place = place_in(list_name, at, object.name);
    members.set_place(place);
    check_object_name(object.name, place);
    object.class_name = members.name("class");
    const ClassDef* const of_class = classes.find(object.class_name);
    if (of_class == nullptr) {
        members.fail("\"class\" names class " + quoted(object.class_name) +
                     ", which does not exist");
    }
    const std::string type = members.text("type", "Logical");
    if (type != "Logical" && type != "Physical") {
        members.fail("\"type\" is " + quoted(type) + R"(; known are "Logical" and "Physical")");
    }
    object.kind = type == "Physical" ? ObjectKind::physical : ObjectKind::logical;
    object.position = members.whole("position", lowest_position, highest_position, lowest_position);
    object.mutex_object = members.name_or_none("mutex");
    read_properties(members, *of_class, place, object);
    return object;
}

}  // namespace

std::vector<ObjectDef> read_objects(const std::vector<JsonNode*>& nodes,
                                    const ClassIndex& classes) {
    std::vector<ObjectDef> objects;
    std::set<std::string> names;
    for (JsonNode* const node : nodes) {
        objects.push_back(read_object(node, objects.size(), classes));
        if (!names.insert(objects.back().name).second) {
            throw Fault{place_in(list_name, objects.size() - 1, objects.back().name),
                        "an earlier object has this name"};
        }
    }
    return objects;
}

}  // namespace mox::host
