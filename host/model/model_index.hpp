// What the owner answers about its model by name, without touching the object store: a name from a
// module makes no handle here, because handles are never given back.
#ifndef MOXHOST_MODEL_MODEL_INDEX_HPP
#define MOXHOST_MODEL_MODEL_INDEX_HPP

#include <set>
#include <string>
#include <vector>

#include "profile/class_list.hpp"
#include "profile/profile.hpp"
#include "profile/reference_target.hpp"

namespace mox::host {

// The profile with what changes while the owner runs: which of its boards are plugged. Valid as
// long as the profile lives unchanged. For the thread of the main loop only.
class ModelIndex {
public:
    // The boards are as the profile has them at the start.
    explicit ModelIndex(const Profile& profile);

    // Null when there is none. Objects of boards that are not plugged are none.
    const ClassDef* find_class(const std::string& name) const;
    const ObjectDef* find_object(const std::string& name) const;

    // The object of the profile, also one of a board that is not plugged; null when there is none.
    const ObjectDef* find_in_profile(const std::string& name) const { return objects_.find(name); }

    // The property that a name stands for in the end: references are followed. Members are null for
    // an unknown object or property.
    PropertyPlace follow(const std::string& object, const std::string& property) const;

    // The objects of a class and of those that derive from it, in the profile's order; "" means
    // all.
    std::vector<const ObjectDef*> objects_of(const std::string& class_name) const;

    // Whether the object is in the model now.
    bool is_there(const ObjectDef& object) const;

    // Null when there is none.
    const BoardDef* find_board(const std::string& name) const;
    bool is_plugged(const BoardDef& board) const { return plugged_.count(board.name) > 0; }
    void set_plugged(const BoardDef& board, bool is_plugged);

    // A board's objects in the profile's order, plugged or not.
    std::vector<const ObjectDef*> objects_on(const BoardDef& board) const;

    // The class whose collection object has the name; null when it is none's.
    const ClassDef* class_of_collection(const std::string& object_name) const;

    const ClassIndex& classes() const { return classes_; }
    const Profile& profile() const { return profile_; }

private:
    const Profile& profile_;
    ClassIndex classes_;
    ObjectIndex objects_;
    std::set<std::string> plugged_;
};

// Whether the class has the property, of its own or inherited.
bool has_property(const ClassDef& entry, const std::string& property);

}  // namespace mox::host

#endif
