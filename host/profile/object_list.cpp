// A property that the profile does not mention gets its type's zero value.
#include "profile/object_list.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "profile/expression_check.hpp"
#include "profile/json_members.hpp"
#include "profile/property_type.hpp"
#include "profile/property_value.hpp"

namespace mox::host {
namespace {

// A result is never current by itself: its live reads are what computes and announces it.
std::string default_mode(bool is_result, bool has_accessor) {
    return is_result || has_accessor ? "r" : "r-";
}

std::string read_mode(const Members& members, const std::string& fallback) {
    std::string mode = members.text("mode", fallback.c_str());
    if (mode != "r" && mode != "w" && mode != "rw" && mode != "r-") {
        members.fail("\"mode\" is " + quoted(mode) + R"(; known are "r", "w", "rw" and "r-")");
        return fallback;
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
    const auto* const word = std::find_if(words.begin(), words.end(),
                                          [&](const auto& known) { return text == known.first; });
    if (word == words.end()) {
        members.fail("\"persist\" is " + quoted(text) +
                     R"(; known are "permanent", "power-off", "reset" and "none")");
        return PersistMode::none;
    }
    if (kind == PropertyKind::reference && word->second != PersistMode::none) {
        members.fail("a reference is not saved; give \"persist\" to what it names");
    }
    return word->second;
}

void read_long_form(const Members& members, bool is_result, Faults& faults,
                    PropertyValue& property) {
    if (JsonNode* const value = members.find("value"); value != nullptr) {
        property.bytes = value_bytes(value, property.type, members.place(), faults)
                             .value_or(zero_bytes(property.type));
    }
    property.accessor = members.link("accessor");
    property.mode = read_mode(members, default_mode(is_result, !property.accessor.empty()));
    property.persist = read_persist(members, property.kind);
    if (!property.accessor.empty() && !is_fixed_size(property.type)) {
        members.fail("type " + quoted(property.type) +
                     " cannot have an accessor; hardware delivers b, y, n, q, i, u and d");
    }
}

void read_value(JsonNode* node, const std::string& place, bool is_result, Faults& faults,
                PropertyValue& property) {
    if (JSON_NODE_HOLDS_OBJECT(node)) {
        const Members members(node, place, faults, {"value", "accessor", "mode", "persist"});
        read_long_form(members, is_result, faults, property);
    } else {
        property.bytes =
            value_bytes(node, property.type, place, faults).value_or(zero_bytes(property.type));
    }
}

void read_properties(const Members& members, const ClassDef& of_class, Faults& faults,
                     ObjectDef& object) {
    std::unordered_map<std::string, std::size_t> index;
    for (const PropertyDef& property : of_class.all_properties) {
        index.emplace(property.name, object.properties.size());
        object.properties.push_back(
            {property.name, property.type, property.kind, zero_bytes(property.type), "",
             default_mode(is_formula_result(of_class.name, property.name), false)});
    }
    for (const Members::Member& member : members.map("properties")) {
        const std::string place = members.place() + " property " + quoted(member.name);
        const auto found = index.find(member.name);
        if (found != index.end()) {
            PropertyValue& property = object.properties[found->second];
            read_value(member.node, place, is_formula_result(of_class.name, property.name), faults,
                       property);
        } else if (!faults.is_doubtful_class(of_class.name)) {
            faults.add(place, "class " + quoted(of_class.name) + " has no such property");
        }
    }
}

// Null, and a fault, when there is no such class.
const ClassDef* read_class_name(const Members& members, const ClassIndex& classes,
                                const Faults& faults, ObjectDef& object) {
    if (!members.has("class")) {
        return nullptr;
    }
    object.class_name = members.link("class");
    const ClassDef* const result = classes.find(object.class_name);
    if (result == nullptr && !object.class_name.empty() && !faults.has_nameless_class()) {
        members.fail("\"class\" names class " + quoted(object.class_name) +
                     ", which does not exist");
    }
    return result;
}

void read_kind(const Members& members, ObjectDef& object) {
    const std::string type = members.text("type", "Logical");
    if (type != "Logical" && type != "Physical") {
        members.fail("\"type\" is " + quoted(type) + R"(; known are "Logical" and "Physical")");
    }
    object.kind = type == "Physical" ? ObjectKind::physical : ObjectKind::logical;
}

Members members_of(JsonNode* node, const std::string& place, const BoardDef* board,
                   Faults& faults) {
    // What is on a board has the board's position.
    return board == nullptr
               ? Members(node, place, faults,
                         {"name", "class", "type", "position", "mutex", "properties"})
               : Members(node, place, faults, {"name", "class", "type", "mutex", "properties"});
}

// The collection object of a class is made by the owner, under a name made of the class's.
bool is_collection_name(const std::string& name, const ClassIndex& classes) {
    constexpr std::string_view ending = ":C";
    return name.size() > ending.size() &&
           name.compare(name.size() - ending.size(), ending.size(), ending) == 0 &&
           classes.find(name.substr(0, name.size() - ending.size())) != nullptr;
}

ObjectDef read_object(JsonNode* node, const ObjectHome& home, std::size_t at,
                      const ClassIndex& classes, Faults& faults, ObjectList& list) {
    Members members = members_of(node, home.place + place_in("objects", at), home.board, faults);
    ObjectDef object;
    const std::size_t before_name = faults.count();
    object.name = members.own_name();
    members.set_place(home.place + place_in("objects", at, object.name));
    list.places.push_back(members.place());
    if (object.name.find('.') != std::string::npos) {
        // "object.property" names a property, so a point would make such a name ambiguous.
        members.fail("an object's name must not contain \".\"");
    }
    if (is_collection_name(object.name, classes)) {
        members.fail("is the name of a class's collection object; use another");
    }
    if (!object.name.empty() && !list.names.insert(object.name).second) {
        members.fail("an earlier object has this name");
    }
    if (faults.count() != before_name) {
        faults.doubt_object({});
    }
    const ClassDef* const of_class = read_class_name(members, classes, faults, object);
    read_kind(members, object);
    if (home.board != nullptr) {
        object.board = home.board->name;
        object.position = home.board->position;
    } else {
        object.position =
            members.whole("position", lowest_position, highest_position).value_or(lowest_position);
    }
    object.mutex_object = members.link("mutex");
    if (of_class != nullptr) {
        read_properties(members, *of_class, faults, object);
    }
    return object;
}

}  // namespace

void read_objects(const std::vector<JsonNode*>& nodes, const ObjectHome& home,
                  const ClassIndex& classes, Faults& faults, ObjectList& list) {
    std::size_t at = 0;
    for (JsonNode* const node : nodes) {
        const std::size_t before = faults.count();
        list.objects.push_back(read_object(node, home, at++, classes, faults, list));
        const ObjectDef& object = list.objects.back();
        if (faults.count() != before || faults.is_doubtful_class(object.class_name) ||
            classes.find(object.class_name) == nullptr) {
            faults.doubt_object(object.name);
        }
    }
}

}  // namespace mox::host
