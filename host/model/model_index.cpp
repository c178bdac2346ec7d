// The profile stays as it was loaded, so nothing here changes after the start.
#include "model/model_index.hpp"

#include <algorithm>

namespace mox::host {

ModelIndex::ModelIndex(const Profile& profile)
    : profile_(profile), classes_(profile.classes), objects_(profile.objects) {}

const ClassDef* ModelIndex::find_class(const std::string& name) const {
    return classes_.find(name);
}

const ObjectDef* ModelIndex::find_object(const std::string& name) const {
    return objects_.find(name);
}

PropertyPlace ModelIndex::follow(const std::string& object, const std::string& property) const {
    return objects_.follow(object, property);
}

std::vector<const ObjectDef*> ModelIndex::objects_of(const std::string& class_name) const {
    std::vector<const ObjectDef*> result;
    for (const ObjectDef& object : profile_.objects) {
        if (class_name.empty() || classes_.is_type(object.class_name, class_name)) {
            result.push_back(&object);
        }
    }
    return result;
}

bool has_property(const ClassDef& entry, const std::string& property) {
    return std::any_of(entry.all_properties.begin(), entry.all_properties.end(),
                       [&](const PropertyDef& known) { return known.name == property; });
}

}  // namespace mox::host
