// Every walk here ends, also in a profile whose references form a circle.
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

PropertyPlace ObjectIndex::named(const std::string& text) const {
    const std::size_t point = text.find('.');
    return point == std::string::npos ? PropertyPlace{}
                                      : place(text.substr(0, point), text.substr(point + 1));
}

PropertyPlace ObjectIndex::follow(const std::string& object, const std::string& property) const {
    PropertyPlace at = place(object, property);
    for (std::size_t step = 0;
         at.property != nullptr && at.property->kind == PropertyKind::reference; ++step) {
        const std::string text = text_in(*at.property);
        if (text.find('.') == std::string::npos) {
            break;
        }
        at = step < max_reference_steps ? named(text) : PropertyPlace{};
    }
    return at;
}

}  // namespace mox::host
