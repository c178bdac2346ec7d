// What holds here: the name is "ObjName", or what follows the last dot of the key for an object
// that has none.
#include "physical_object.hpp"

namespace mox::driver {
namespace {

std::string name_of(const PropertyList& properties, const std::string& key) {
    const StoredProperty* property = find_property(properties, "ObjName");
    const std::optional<std::string_view> name =
        property != nullptr ? text_of(*property) : std::nullopt;
    if (name && !name->empty()) {
        return std::string{*name};
    }
    const std::size_t dot = key.rfind('.');
    return dot == std::string::npos ? key : key.substr(dot + 1);
}

}  // namespace

std::string PhysicalObject::problem() const {
    if (accessor && !accessor->problem.empty()) {
        return accessor->problem;
    }
    return chip ? chip->problem : std::string{};
}

PhysicalObjectPtr make_physical_object(const gchar* key, const GSList* properties) {
    auto object = std::make_shared<PhysicalObject>();
    object->key = key;
    object->properties = copy_properties(properties);
    object->name = name_of(object->properties, object->key);
    if (const StoredProperty* position = find_property(object->properties, "Position")) {
        object->position = integer_of(*position);
    }
    object->accessor = parse_location(object->properties);
    object->chip = parse_chip_path(object->properties);
    return object;
}

}  // namespace mox::driver
