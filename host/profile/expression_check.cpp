// The class is checked for its properties, the objects for what their inputs lead to. A formula may
// be an input of another one; reading the outer one reads the inner one first.
#include "profile/expression_check.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "profile/fault.hpp"
#include "profile/reference_target.hpp"

namespace mox::host {
namespace {

constexpr std::array<const char*, 3> input_names{"X", "Y", "Z"};
constexpr std::array<const char*, 3> cache_names{"Xcache", "Ycache", "Zcache"};
constexpr const char* formula_name = "Formula";
// Each formula behind another takes stack when it is read.
constexpr std::size_t max_formula_steps = 16;

bool is_number(const std::string& type) {
    return type.size() == 1 && std::string_view("dinquy").find(type[0]) != std::string_view::npos;
}

constexpr const char* number_types = "d, i, n, q, u or y";

class ClassCheck {
public:
    ClassCheck(const ClassDef& entry, std::string place)
        : entry_(entry), place_(std::move(place)) {}

    void run() const {
        for (const char* const input : input_names) {
            const PropertyDef& property = needed(input);
            if (property.kind != PropertyKind::reference && !is_number(property.type)) {
                fail(property, std::string("sp (a reference), ") + number_types);
            }
        }
        for (const char* const cache : cache_names) {
            need_number(cache);
        }
        const PropertyDef& formula = needed(formula_name);
        if (formula.kind != PropertyKind::value || formula.type != "s") {
            fail(formula, "s");
        }
        need_number(expression_result);
    }

private:
    const PropertyDef& needed(const std::string& name) const {
        const auto found =
            std::find_if(entry_.all_properties.begin(), entry_.all_properties.end(),
                         [&](const PropertyDef& property) { return property.name == name; });
        if (found == entry_.all_properties.end()) {
            throw Fault{place_, "has no property " + quoted(name) +
                                    "; formulas need X, Y, Z, Xcache, Ycache, Zcache, Formula and "
                                    "Value"};
        }
        return *found;
    }

    void need_number(const char* name) const {
        const PropertyDef& property = needed(name);
        if (property.kind != PropertyKind::value || !is_number(property.type)) {
            fail(property, number_types);
        }
    }

    [[noreturn]] void fail(const PropertyDef& property, const std::string& wanted) const {
        const std::string type = property.kind == PropertyKind::reference ? "sp" : property.type;
        throw Fault{place_ + " property " + quoted(property.name),
                    "is of type " + quoted(type) + "; a formula needs " + wanted + " here"};
    }

    const ClassDef& entry_;
    std::string place_;
};

class FormulaCheck {
public:
    explicit FormulaCheck(const std::vector<ObjectDef>& objects)
        : objects_(objects), index_(objects), heights_(objects.size(), 0) {}

    void run() {
        for (const ObjectDef& object : objects_) {
            if (object.class_name == expression_class) {
                check_result(object);
                for (const char* const input : input_names) {
                    check_input(object, input);
                }
            }
        }
        for (const ObjectDef& object : objects_) {
            if (object.class_name == expression_class) {
                measure(object, object, 1);
            }
        }
    }

private:
    std::size_t index_of(const ObjectDef& object) const {
        return static_cast<std::size_t>(&object - objects_.data());
    }

    std::string place_of(const ObjectDef& object) const {
        return place_in("objects", index_of(object), object.name);
    }

    void check_result(const ObjectDef& object) const {
        const PropertyValue& result = *find_property(object, expression_result);
        const std::string place = place_of(object) + " property " + quoted(result.name);
        if (!result.accessor.empty()) {
            throw Fault{place, "is computed by a formula; it cannot have an accessor"};
        }
        if (result.mode == "r-") {
            throw Fault{place, R"("mode" is "r-", with which a computed value is neither stored )"
                               R"(nor announced; leave it out)"};
        }
    }

    PropertyPlace target_of(const ObjectDef& object, const char* input) const {
        return index_.follow(object.name, input);
    }

    void check_input(const ObjectDef& object, const char* input) const {
        const PropertyPlace target = target_of(object, input);
        const std::string place = place_of(object) + " property " + quoted(input);
        if (target.property->kind == PropertyKind::reference) {
            throw Fault{place,
                        "is an input of a formula and names nothing; give \"object.property\", of "
                        "any number when the formula does not use it"};
        }
        if (!is_number(target.property->type)) {
            throw Fault{place, "is an input of a formula and leads to " +
                                   quoted(target.object->name + '.' + target.property->name) +
                                   " of type " + quoted(target.property->type) +
                                   "; formulas take " + number_types};
        }
    }

    // How many formulas stand behind each other from here, this one included. The depth of the
    // recursion is bounded by the limit; a formula that was measured is not entered again.
    std::size_t measure(const ObjectDef& start, const ObjectDef& object, std::size_t steps) {
        std::size_t& height = heights_[index_of(object)];
        if (steps + std::max(height, std::size_t{1}) > max_formula_steps + 1) {
            throw Fault{place_of(start), "the formulas from here form a circle, or more than " +
                                             std::to_string(max_formula_steps) + " steps"};
        }
        if (height != 0) {
            return height;
        }
        std::size_t highest = 0;
        for (const char* const input : input_names) {
            const PropertyPlace target = target_of(object, input);
            if (is_formula_result(target.object->class_name, target.property->name)) {
                highest = std::max(highest, measure(start, *target.object, steps + 1));
            }
        }
        height = highest + 1;
        return height;
    }

    const std::vector<ObjectDef>& objects_;
    ObjectIndex index_;
    std::vector<std::size_t> heights_;  // by object; 0 when it was not measured
};

}  // namespace

bool is_formula_result(const std::string& class_name, const std::string& property) {
    return class_name == expression_class && property == expression_result;
}

void check_expressions(const Profile& profile, const ClassIndex& classes) {
    for (std::size_t at = 0; at < profile.classes.size(); ++at) {
        const ClassDef& entry = profile.classes[at];
        const std::string place = place_in("classes", at, entry.name);
        if (entry.name == expression_class) {
            ClassCheck(entry, place).run();
        } else if (classes.is_type(entry.name, expression_class)) {
            throw Fault{place,
                        "derives from class \"Expression\"; formulas are computed for "
                        "objects of that class itself only"};
        }
    }
    FormulaCheck(profile.objects).run();
}

}  // namespace mox::host
