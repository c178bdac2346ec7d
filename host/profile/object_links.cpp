// Links are names in string properties; an empty name is no link. A fault is noted where the link
// stands, not again for those that lead to it.
#include "profile/object_links.hpp"

#include <array>
#include <unordered_set>

#include "profile/property_type.hpp"
#include "profile/reference_target.hpp"

namespace mox::host {
namespace {

// A property that links an object of one class to one of another.
struct LinkRule {
    const char* from_class;
    const char* property;
    const char* to_class;
};

constexpr std::array<LinkRule, 6> link_rules{{
    {"Accessor", "Chip", "Chip"},
    {"Chip", "PrevChip", "Chip"},
    {"Chip", "ResetChip", "Chip"},
    {"Chip", "LBus", "Bus"},
    {"Bus", "NodeBusy", "Chip"},
    {"Bus", "PeerBusy", "Chip"},
}};

// The text of a string property; empty when there is no such property or it is of another type.
std::string text_of(const ObjectDef& object, const std::string& name) {
    const PropertyValue* const property = find_property(object, name);
    const bool is_text =
        property != nullptr && property->type == "s" && property->kind == PropertyKind::value;
    return is_text ? text_in(*property) : std::string();
}

class LinkCheck {
public:
    LinkCheck(const ObjectList& list, const ClassIndex& classes, Faults& faults)
        : objects_(list.objects),
          places_(list.places),
          classes_(classes),
          faults_(faults),
          index_(list.objects),
          seen_(list.objects.size(), Seen::never) {}

    void run() {
        for (const ObjectDef& object : objects_) {
            check_mutex(object);
            check_accessors(object);
            check_hardware_links(object);
            check_references(object);
        }
        for (const ObjectDef& object : objects_) {
            follow_hardware(object);
        }
    }

private:
    enum class Seen { never, on_the_way, done };

    std::size_t index_of(const ObjectDef& object) const {
        return static_cast<std::size_t>(&object - objects_.data());
    }

    const std::string& place_of(const ObjectDef& object) const { return places_[index_of(object)]; }

    std::string place_of(const ObjectDef& object, const std::string& property) const {
        return place_of(object) + " property " + quoted(property);
    }

    // The object that a link names. Null when there is none, which is noted, and when nothing can
    // be said about it. what: what the place does, such as `names Chip object`.
    const ObjectDef* target(const std::string& name, const std::string& what,
                            const std::string& place) const {
        const ObjectDef* const found = index_.find(name);
        if (found == nullptr && !faults_.has_nameless_object()) {
            faults_.add(place, what + ' ' + quoted(name) + ", which does not exist");
        }
        return faults_.is_doubtful_object(name) ? nullptr : found;
    }

    // A board comes and goes with its objects, so nothing else may lead to them.
    void check_board(const ObjectDef& object, const ObjectDef& to, const std::string& place) const {
        if (to.board.empty() || to.board == object.board) {
            return;
        }
        const std::string cause = "leads to object " + quoted(to.name) + " of board " +
                                  quoted(to.board) + "; the object itself is ";
        faults_.add(place, cause + (object.board.empty()
                                        ? "on no board and may lead to such objects only"
                                        : "of board " + quoted(object.board) +
                                              " and may lead only there and to what is on none"));
    }

    void check_mutex(const ObjectDef& object) const {
        if (object.mutex_object.empty()) {
            return;
        }
        const std::string& place = place_of(object);
        if (object.mutex_object == object.name) {
            faults_.add(place, "\"mutex\" names the object itself");
            return;
        }
        const ObjectDef* const other = target(object.mutex_object, "\"mutex\" names object", place);
        if (other == nullptr) {
            return;
        }
        if (!other->mutex_object.empty()) {
            faults_.add(place, "\"mutex\" names object " + quoted(other->name) +
                                   ", which has the mutex object " + quoted(other->mutex_object) +
                                   " itself");
        }
        check_board(object, *other, place);
    }

    // The physical object of a class that a link names; null, and a fault, when there is none.
    const ObjectDef* linked(const ObjectDef& object, const std::string& name, const char* to_class,
                            const std::string& place) const {
        const std::string what = std::string("names ") + to_class + " object";
        const ObjectDef* const found = target(name, what, place);
        if (found == nullptr) {
            return nullptr;
        }
        if (!classes_.is_type(found->class_name, to_class)) {
            faults_.add(place, what + ' ' + quoted(name) + ", which is of class " +
                                   quoted(found->class_name));
            return nullptr;
        }
        if (found->kind != ObjectKind::physical) {
            faults_.add(place,
                        what + ' ' + quoted(name) + R"(, which must have "type": "Physical")");
        }
        check_board(object, *found, place);
        return found;
    }

    void check_accessors(const ObjectDef& object) const {
        for (const PropertyValue& property : object.properties) {
            if (property.accessor.empty()) {
                continue;
            }
            const std::string place = place_of(object, property.name);
            const ObjectDef* const accessor = linked(object, property.accessor, "Accessor", place);
            if (accessor == nullptr) {
                continue;
            }
            if (text_of(*accessor, "Chip").empty()) {
                faults_.add(place, "its accessor " + quoted(accessor->name) + " names no chip");
            }
            const std::string type = text_of(*accessor, "Type");
            // A type without one size has a fault for having an accessor.
            if (!type.empty() && type != property.type && is_fixed_size(property.type)) {
                faults_.add(place, "is of type " + quoted(property.type) + ", its accessor " +
                                       quoted(accessor->name) + " delivers type " + quoted(type));
            }
        }
    }

    template <typename Visit>
    void each_link(const ObjectDef& object, Visit visit) const {
        for (const LinkRule& rule : link_rules) {
            if (classes_.is_type(object.class_name, rule.from_class)) {
                const std::string name = text_of(object, rule.property);
                if (!name.empty()) {
                    visit(rule, name);
                }
            }
        }
    }

    void check_hardware_links(const ObjectDef& object) const {
        each_link(object, [&](const LinkRule& rule, const std::string& name) {
            linked(object, name, rule.to_class, place_of(object, rule.property));
        });
    }

    // Depth first over chips and buses, with a stack of its own: a chain may be as long as the list
    // of objects.
    void follow_hardware(const ObjectDef& start) {
        struct Step {
            const ObjectDef* object;
            std::vector<const ObjectDef*> next;
        };
        std::vector<Step> path;
        const auto enter = [&](const ObjectDef& object) {
            seen_[index_of(object)] = Seen::on_the_way;
            std::vector<const ObjectDef*> next;
            each_link(object, [&](const LinkRule&, const std::string& name) {
                const ObjectDef* const found = index_.find(name);
                if (found != nullptr) {
                    next.push_back(found);
                }
            });
            path.push_back({&object, std::move(next)});
        };
        if (seen_[index_of(start)] == Seen::never) {
            enter(start);
        }
        while (!path.empty()) {
            if (path.back().next.empty()) {
                seen_[index_of(*path.back().object)] = Seen::done;
                path.pop_back();
                continue;
            }
            const ObjectDef& next = *path.back().next.back();
            path.back().next.pop_back();
            if (seen_[index_of(next)] == Seen::on_the_way) {
                faults_.add(place_of(*path.back().object),
                            "its links lead through object " + quoted(next.name) +
                                " back to itself; chips and buses must not form a circle");
            }
            if (seen_[index_of(next)] == Seen::never) {
                enter(next);
            }
        }
    }

    // What a reference names directly. Null when that does not exist, which is noted, when nothing
    // can be said about it, and for an empty reference.
    const PropertyValue* check_reference(const ObjectDef& object, const PropertyValue& property,
                                         const std::string& place) const {
        const std::string text = text_in(property);
        const std::size_t point = text.find('.');
        if (text.empty()) {
            return nullptr;
        }
        if (point == std::string::npos) {
            faults_.add(place, "refers to " + quoted(text) + ", which is not \"object.property\"");
            return nullptr;
        }
        const ObjectDef* const other = target(text.substr(0, point), "refers to object", place);
        if (other == nullptr) {
            return nullptr;
        }
        const PropertyValue* const found = find_property(*other, text.substr(point + 1));
        if (found == nullptr) {
            faults_.add(place, "refers to property " + quoted(text.substr(point + 1)) +
                                   ", which object " + quoted(other->name) + " does not have");
        }
        check_board(object, *other, place);
        return found;
    }

    void check_references(const ObjectDef& object) {
        for (const PropertyValue& property : object.properties) {
            if (property.kind == PropertyKind::reference) {
                const std::string place = place_of(object, property.name);
                const PropertyValue* const next = check_reference(object, property, place);
                if (next != nullptr && endless_.count(&property) == 0) {
                    follow_references(property, next, place);
                }
            }
        }
    }

    void follow_references(const PropertyValue& start, const PropertyValue* at,
                           const std::string& place) {
        std::vector<const PropertyValue*> path{&start};
        for (std::size_t steps = 1; at != nullptr && endless_.count(at) == 0; ++steps) {
            if (at == &start || steps > max_reference_steps) {
                faults_.add(place, "the references from here form a circle, or more than " +
                                       std::to_string(max_reference_steps) + " steps");
                endless_.insert(path.begin(), path.end());
                return;
            }
            path.push_back(at);
            at =
                at->kind == PropertyKind::reference ? index_.named(text_in(*at)).property : nullptr;
        }
    }

    const std::vector<ObjectDef>& objects_;
    const std::vector<std::string>& places_;
    const ClassIndex& classes_;
    Faults& faults_;
    ObjectIndex index_;
    std::vector<Seen> seen_;
    std::unordered_set<const PropertyValue*> endless_;  // on the way of a fault that was noted
};

}  // namespace

void check_object_links(const ObjectList& list, const ClassIndex& classes, Faults& faults) {
    LinkCheck(list, classes, faults).run();
}

}  // namespace mox::host
