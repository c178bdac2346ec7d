// What the owner answers about its model by name, without touching the object store: a name from a
// module makes no handle here, because handles are never given back.
#ifndef MOXHOST_MODEL_MODEL_INDEX_HPP
#define MOXHOST_MODEL_MODEL_INDEX_HPP

#include <string>
#include <vector>

#include "profile/class_list.hpp"
#include "profile/profile.hpp"
#include "profile/reference_target.hpp"

namespace mox::host {

// Valid as long as the profile lives unchanged.
class ModelIndex {
public:
    explicit ModelIndex(const Profile& profile);

    // Null when there is none.
    const ClassDef* find_class(const std::string& name) const;
    const ObjectDef* find_object(const std::string& name) const;

    // The property that a name stands for in the end: references are followed. Members are null for
    // an unknown object or property.
    PropertyPlace follow(const std::string& object, const std::string& property) const;

    // The objects of a class and of those that derive from it, in the profile's order; "" means
    // all.
    std::vector<const ObjectDef*> objects_of(const std::string& class_name) const;

    const Profile& profile() const { return profile_; }

private:
    const Profile& profile_;
    ClassIndex classes_;
    ObjectIndex objects_;
};

// Whether the class has the property, of its own or inherited.
bool has_property(const ClassDef& entry, const std::string& property);

}  // namespace mox::host

#endif
