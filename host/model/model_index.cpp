// The profile stays as it was loaded; only the set of plugged boards changes after the start.
#include "model/model_index.hpp"

#include <algorithm>
#include <string_view>

namespace mox::host {
namespace {

constexpr std::string_view collection_suffix = ":C";

}  // namespace

ModelIndex::ModelIndex(const Profile& profile)
    : profile_(profile), classes_(profile.classes), objects_(profile.objects) {
    for (const BoardDef& board : profile.boards) {
        set_plugged(board, board.plugged);
    }
}

const ClassDef* ModelIndex::find_class(const std::string& name) const {
    return classes_.find(name);
}

const ObjectDef* ModelIndex::find_object(const std::string& name) const {
    const ObjectDef* const object = objects_.find(name);
    return object != nullptr && is_there(*object) ? object : nullptr;
}

PropertyPlace ModelIndex::follow(const std::string& object, const std::string& property) const {
    // What an object leads to is of its own board, or always there.
    return find_object(object) == nullptr ? PropertyPlace{} : objects_.follow(object, property);
}

std::vector<const ObjectDef*> ModelIndex::objects_of(const std::string& class_name) const {
    std::vector<const ObjectDef*> result;
    for (const ObjectDef& object : profile_.objects) {
        if (is_there(object) &&
            (class_name.empty() || classes_.is_type(object.class_name, class_name))) {
            result.push_back(&object);
        }
    }
    return result;
}

bool ModelIndex::is_there(const ObjectDef& object) const {
    return object.board.empty() || plugged_.count(object.board) > 0;
}

const BoardDef* ModelIndex::find_board(const std::string& name) const {
    const auto found = std::find_if(profile_.boards.begin(), profile_.boards.end(),
                                    [&](const BoardDef& board) { return board.name == name; });
    return found == profile_.boards.end() ? nullptr : &*found;
}

void ModelIndex::set_plugged(const BoardDef& board, bool is_plugged) {
    if (is_plugged) {
        plugged_.insert(board.name);
    } else {
        plugged_.erase(board.name);
    }
}

std::vector<const ObjectDef*> ModelIndex::objects_on(const BoardDef& board) const {
    std::vector<const ObjectDef*> result;
    for (const ObjectDef& object : profile_.objects) {
        if (object.board == board.name) {
            result.push_back(&object);
        }
    }
    return result;
}

const ClassDef* ModelIndex::class_of_collection(const std::string& object_name) const {
    if (object_name.size() <= collection_suffix.size()) {
        return nullptr;
    }
    const std::size_t length = object_name.size() - collection_suffix.size();
    return object_name.compare(length, std::string::npos, collection_suffix) == 0
               ? find_class(object_name.substr(0, length))
               : nullptr;
}

bool has_property(const ClassDef& entry, const std::string& property) {
    return std::any_of(entry.all_properties.begin(), entry.all_properties.end(),
                       [&](const PropertyDef& known) { return known.name == property; });
}

}  // namespace mox::host
