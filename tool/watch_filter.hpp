// Which events are shown.
//
// What holds: classes and properties are chosen by what is listened to, objects and changes of
// values by looking at each event.
#ifndef MOX_TOOL_WATCH_FILTER_HPP
#define MOX_TOOL_WATCH_FILTER_HPP

#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "glib_owners.hpp"
#include "membership.hpp"
#include "watch_options.hpp"

namespace mox::tool {

// What one event tells.
struct WatchedObject {
    std::string name;
    std::string class_name;
    guint32 position = 0;
};

class WatchFilter {
public:
    // Throws Failed for names that are not in the model, and for an object, a class and a property
    // that no event can have together.
    WatchFilter(const Membership& owner, const WatchOptions& options);

    // The class and property pairs to listen to.
    const std::vector<std::pair<std::string, std::string>>& pairs() const { return pairs_; }

    // The widest names among what is watched, in columns.
    std::size_t object_width() const { return object_width_; }
    std::size_t property_width() const { return property_width_; }

    bool wants(const std::string& object, const std::string& property, GVariant* value) const;
    // The event was shown: its value is what the next one is compared with.
    void note_shown(const std::string& object, const std::string& property, GVariant* value);

    // An object was made, or those of a position were removed. They give the objects to show.
    bool wants_added(const WatchedObject& object);
    std::vector<WatchedObject> take_removed(guint32 position);

private:
    void choose_classes(const Membership& owner, const std::string& root);
    void choose_pairs(const std::string& property);
    void learn_objects(const Membership& owner);
    bool wants_object(const std::string& name) const {
        return options_.object.empty() || options_.object == name;
    }

    WatchOptions options_;
    std::vector<std::string> classes_;
    std::vector<std::pair<std::string, std::string>> pairs_;
    std::size_t object_width_ = 0;
    std::size_t property_width_ = 0;
    std::map<std::string, WatchedObject> objects_;  // that are there and wanted
    std::unordered_map<std::string, VariantPtr> last_shown_;
};

// How far two numbers of one type are apart; infinity for one that is not a number beside one that
// is. Nothing for other types.
std::optional<double> distance(GVariant* before, GVariant* after);

}  // namespace mox::tool

#endif
