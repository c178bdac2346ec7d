// The check of the objects' links has refused circles and references that lead nowhere, so every
// walk here ends.
#include "profile/reference_target.hpp"

#include <algorithm>

namespace mox::host {

const PropertyValue* find_property(const ObjectDef& object, const std::string& name) {
    const auto found =
        std::find_if(object.properties.begin(), object.properties.end(),
                     [&](const PropertyValue& property) { return property.name == name; });
    return found == object.properties.end() ? nullptr : &*found;
}

std::string text_in(const PropertyValue& property) {
    return property.bytes.substr(0, property.bytes.size() - 1);
}

ObjectIndex::ObjectIndex(const std::vector<ObjectDef>& objects) {
    for (const ObjectDef& object : objects) {
        by_name_.emplace(object.name, &object);
    }
}

const ObjectDef* ObjectIndex::find(const std::string& name) const {
    const auto found = by_name_.find(name);
    return found == by_name_.end() ? nullptr : found->second;
}

PropertyPlace ObjectIndex::place(const std::string& object, const std::string& property) const {
    const ObjectDef* const found = find(object);
    const PropertyValue* const value = found == nullptr ? nullptr : find_property(*found, property);
    return value == nullptr ? PropertyPlace{} : PropertyPlace{found, value};
}

PropertyPlace ObjectIndex::follow(const std::string& object, const std::string& property) const {
    PropertyPlace at = place(object, property);
    while (at.property != nullptr && at.property->kind == PropertyKind::reference) {
        const std::string text = text_in(*at.property);
        const std::size_t point = text.find('.');
        if (point == std::string::npos) {
            break;
        }
        at = place(text.substr(0, point), text.substr(point + 1));
    }
    return at;
}

}  // namespace mox::host
