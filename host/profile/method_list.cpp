// Parameters are types alone: their order is what a caller goes by.
#include "profile/method_list.hpp"

#include <set>

#include "profile/id_list.hpp"
#include "profile/property_type.hpp"
#include "profile/property_value.hpp"

namespace mox::host {
namespace {

std::vector<std::string> read_parameters(const Members& members, const char* direction,
                                         Faults& faults) {
    std::vector<std::string> types;
    std::size_t at = 0;
    for (JsonNode* const node : members.list_or_none(direction)) {
        const std::string place = members.place() + ' ' + place_in(direction, at++);
        if (!JSON_NODE_HOLDS_VALUE(node) || json_node_get_value_type(node) != G_TYPE_STRING) {
            faults.add(place, std::string("must be a type string, not ") + kind_of(node));
            continue;
        }
        if (const auto type = parse_value_type(json_node_get_string(node), place, faults)) {
            types.push_back(*type);
        }
    }
    return types;
}

std::vector<MethodConstant> read_constants(const Members& method, Faults& faults) {
    std::vector<MethodConstant> constants;
    for (const Members::Member& entry : method.map("constants")) {
        const std::string place = method.place() + " constant " + quoted(entry.name);
        is_name(entry.name, place, "its name", faults);
        const Members members(entry.node, place, faults, {"type", "value"});
        const auto text = members.needed_text("type");
        const bool has_value = members.has("value");
        const auto type = text ? parse_value_type(*text, place, faults) : std::nullopt;
        const auto bytes = type && has_value
                               ? value_bytes(members.find("value"), *type, place, faults)
                               : std::nullopt;
        if (bytes) {
            constants.push_back({entry.name, *type, *bytes});
        }
    }
    return constants;
}

// Reads a method; its id is settled among those of its class.
MethodDef read_method(JsonNode* node, const std::string& class_place, std::size_t at, IdList& ids,
                      std::set<std::string>& names, Faults& faults) {
    Members members(node, class_place + ' ' + place_in("methods", at), faults,
                    {"name", "id", "input", "output", "constants"});
    MethodDef method;
    method.name = members.own_name();
    if (!method.name.empty()) {
        members.set_place(class_place + " method " + quoted(method.name));
    }
    if (!method.name.empty() && !names.insert(method.name).second) {
        members.fail("appears twice in the class");
    }
    const std::size_t before = faults.count();
    const auto given = members.id();
    if (faults.count() == before) {
        method.id = ids.take(given, at, method.name, members.place());
    }
    method.input = read_parameters(members, "input", faults);
    method.output = read_parameters(members, "output", faults);
    method.constants = read_constants(members, faults);
    return method;
}

}  // namespace

std::vector<MethodDef> read_methods(const Members& of_class, Faults& faults) {
    std::vector<MethodDef> methods;
    std::set<std::string> names;
    IdList ids("method", faults);
    for (JsonNode* const node : of_class.list_or_none("methods")) {
        methods.push_back(read_method(node, of_class.place(), methods.size(), ids, names, faults));
    }
    return methods;
}

}  // namespace mox::host
