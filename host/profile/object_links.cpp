// Links are names in string properties; an empty name is no link.
#include "profile/object_links.hpp"

#include <array>
#include <optional>

#include "profile/fault.hpp"
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
    LinkCheck(const std::vector<ObjectDef>& objects, const ClassIndex& classes)
        : objects_(objects),
          classes_(classes),
          index_(objects),
          seen_(objects.size(), Seen::never) {}

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

    std::string place_of(const ObjectDef& object) const {
        return place_in("objects", index_of(object), object.name);
    }

    std::string place_of(const ObjectDef& object, const std::string& property) const {
        return place_of(object) + " property " + quoted(property);
    }

    const ObjectDef* find(const std::string& name) const { return index_.find(name); }

    void check_mutex(const ObjectDef& object) const {
        if (object.mutex_object.empty()) {
            return;
        }
        const ObjectDef* const other = find(object.mutex_object);
        if (other == nullptr) {
            throw Fault{place_of(object), "\"mutex\" names object " + quoted(object.mutex_object) +
                                              ", which does not exist"};
        }
        if (other == &object) {
            throw Fault{place_of(object), "\"mutex\" names the object itself"};
        }
        if (!other->mutex_object.empty()) {
            throw Fault{place_of(object), "\"mutex\" names object " + quoted(other->name) +
                                              ", which has the mutex object " +
                                              quoted(other->mutex_object) + " itself"};
        }
    }

    // The physical object of a class that a link names; throws at the place when there is none.
    const ObjectDef& linked(const std::string& name, const char* to_class,
                            const std::string& place) const {
        const ObjectDef* const target = find(name);
        const std::string what = std::string("names ") + to_class + " object " + quoted(name);
        if (target == nullptr) {
            throw Fault{place, what + ", which does not exist"};
        }
        if (!classes_.is_type(target->class_name, to_class)) {
            throw Fault{place, what + ", which is of class " + quoted(target->class_name)};
        }
        if (target->kind != ObjectKind::physical) {
            throw Fault{place, what + R"(, which must have "type": "Physical")"};
        }
        return *target;
    }

    void check_accessors(const ObjectDef& object) const {
        for (const PropertyValue& property : object.properties) {
            if (property.accessor.empty()) {
                continue;
            }
            const std::string place = place_of(object, property.name);
            const ObjectDef& accessor = linked(property.accessor, "Accessor", place);
            if (text_of(accessor, "Chip").empty()) {
                throw Fault{place, "its accessor " + quoted(accessor.name) + " names no chip"};
            }
            const std::string type = text_of(accessor, "Type");
            if (!type.empty() && type != property.type) {
                throw Fault{place, "is of type " + quoted(property.type) + ", its accessor " +
                                       quoted(accessor.name) + " delivers type " + quoted(type)};
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
            linked(name, rule.to_class, place_of(object, rule.property));
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
                next.push_back(find(name));
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
                throw Fault{place_of(*path.back().object),
                            "its links lead through object " + quoted(next.name) +
                                " back to itself; chips and buses must not form a circle"};
            }
            if (seen_[index_of(next)] == Seen::never) {
                enter(next);
            }
        }
    }

    // Where a reference property leads; nothing for an empty one. Throws when it leads nowhere.
    std::optional<PropertyPlace> target_of(const ObjectDef& object,
                                           const PropertyValue& property) const {
        const std::string text = text_in(property);
        if (text.empty()) {
            return std::nullopt;
        }
        const std::string place = place_of(object, property.name);
        const std::size_t point = text.find('.');
        if (point == std::string::npos) {
            throw Fault{place, "refers to " + quoted(text) + ", which is not \"object.property\""};
        }
        const ObjectDef* const other = find(text.substr(0, point));
        if (other == nullptr) {
            throw Fault{place, "refers to object " + quoted(text.substr(0, point)) +
                                   ", which does not exist"};
        }
        const PropertyValue* const target = find_property(*other, text.substr(point + 1));
        if (target == nullptr) {
            throw Fault{place, "refers to property " + quoted(text.substr(point + 1)) +
                                   ", which object " + quoted(other->name) + " does not have"};
        }
        return PropertyPlace{other, target};
    }

    void check_references(const ObjectDef& object) const {
        for (const PropertyValue& property : object.properties) {
            std::size_t steps = 0;
            PropertyPlace at{&object, &property};
            while (at.property->kind == PropertyKind::reference) {
                const std::optional<PropertyPlace> next = target_of(*at.object, *at.property);
                if (!next) {
                    break;
                }
                at = *next;
                if (at.property == &property || ++steps > max_reference_steps) {
                    throw Fault{place_of(object, property.name),
                                "the references from here form a circle, or more than " +
                                    std::to_string(max_reference_steps) + " steps"};
                }
            }
        }
    }

    // Each step of a read takes stack.
    static constexpr std::size_t max_reference_steps = 16;

    const std::vector<ObjectDef>& objects_;
    const ClassIndex& classes_;
    ObjectIndex index_;
    std::vector<Seen> seen_;
};

}  // namespace

void check_object_links(const std::vector<ObjectDef>& objects, const ClassIndex& classes) {
    LinkCheck(objects, classes).run();
}

}  // namespace mox::host
