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
// Each input is read live: a formula that is an input of three others is computed for each of them.
constexpr std::size_t max_formulas_computed = 1000;

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
        : objects_(objects), index_(objects), measures_(objects.size()) {}

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

    // What a read of a formula's value takes; nothing when it was not measured.
    struct Measure {
        std::size_t height = 0;    // formulas behind each other from here, this one included
        std::size_t computed = 0;  // formulas computed, this one included
    };

    // The depth of the recursion is bounded by the limit; a formula that was measured is not
    // entered again.
    Measure measure(const ObjectDef& start, const ObjectDef& object, std::size_t steps) {
        Measure& known = measures_[index_of(object)];
        if (steps + std::max(known.height, std::size_t{1}) > max_formula_steps + 1) {
            throw Fault{place_of(start), "the formulas from here form a circle, or more than " +
                                             std::to_string(max_formula_steps) + " steps"};
        }
        if (known.height != 0) {
            return known;
        }
        Measure result{0, 1};
        for (const char* const input : input_names) {
            const PropertyPlace target = target_of(object, input);
            if (is_formula_result(target.object->class_name, target.property->name)) {
                const Measure behind = measure(start, *target.object, steps + 1);
                result.height = std::max(result.height, behind.height);
                result.computed += behind.computed;
            }
        }
        if (result.computed > max_formulas_computed) {
            throw Fault{place_of(object),
                        "its value is computed from " + std::to_string(result.computed - 1) +
                            " others, counting each as often as an input leads to it; at most " +
                            std::to_string(max_formulas_computed - 1) + " can be"};
        }
        ++result.height;
        known = result;
        return result;
    }

    const std::vector<ObjectDef>& objects_;
    ObjectIndex index_;
    std::vector<Measure> measures_;  // by object
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
