// The class is checked for its properties, the objects for what their inputs lead to. A formula may
// be an input of another one; reading the outer one reads the inner one first.
#include "profile/expression_check.hpp"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "profile/class_lineage.hpp"
#include "profile/reference_target.hpp"

namespace mox::host {
namespace {

constexpr std::array<const char*, 3> input_names{"X", "Y", "Z"};
constexpr std::array<const char*, 3> cache_names{"Xcache", "Ycache", "Zcache"};
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
    ClassCheck(const ClassDef& entry, std::string place, Faults& faults)
        : entry_(entry), place_(std::move(place)), faults_(faults) {}

    void run() const {
        for (const char* const input : input_names) {
            const PropertyDef* const property = needed(input);
            if (property != nullptr && property->kind != PropertyKind::reference &&
                !is_number(property->type)) {
                fail(*property, std::string("sp (a reference), ") + number_types);
            }
        }
        for (const char* const cache : cache_names) {
            need_number(cache);
        }
        const PropertyDef* const formula = needed(expression_formula);
        if (formula != nullptr && (formula->kind != PropertyKind::value || formula->type != "s")) {
            fail(*formula, "s");
        }
        need_number(expression_result);
    }

private:
    // Null when the class does not have it.
    const PropertyDef* needed(const std::string& name) const {
        const auto found =
            std::find_if(entry_.all_properties.begin(), entry_.all_properties.end(),
                         [&](const PropertyDef& property) { return property.name == name; });
        if (found != entry_.all_properties.end()) {
            return &*found;
        }
        if (!faults_.is_doubtful_class(entry_.name)) {
            faults_.add(place_, "has no property " + quoted(name) +
                                    "; formulas need X, Y, Z, Xcache, Ycache, Zcache, Formula and "
                                    "Value");
        }
        return nullptr;
    }

    void need_number(const char* name) const {
        const PropertyDef* const property = needed(name);
        if (property != nullptr &&
            (property->kind != PropertyKind::value || !is_number(property->type))) {
            fail(*property, number_types);
        }
    }

    void fail(const PropertyDef& property, const std::string& wanted) const {
        const std::string type = property.kind == PropertyKind::reference ? "sp" : property.type;
        faults_.add(place_ + " property " + quoted(property.name),
                    "is of type " + quoted(type) + "; a formula needs " + wanted + " here");
    }

    const ClassDef& entry_;
    std::string place_;
    Faults& faults_;
};

class FormulaCheck {
public:
    FormulaCheck(const ObjectList& list, Faults& faults)
        : objects_(list.objects),
          places_(list.places),
          faults_(faults),
          index_(list.objects),
          measures_(list.objects.size()),
          is_endless_(list.objects.size(), false) {}

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
            if (object.class_name == expression_class && !is_endless_[index_of(object)]) {
                try_to_measure(object);
            }
        }
    }

private:
    std::size_t index_of(const ObjectDef& object) const {
        return static_cast<std::size_t>(&object - objects_.data());
    }

    const std::string& place_of(const ObjectDef& object) const { return places_[index_of(object)]; }

    std::string place_of(const ObjectDef& object, const std::string& property) const {
        return place_of(object) + " property " + quoted(property);
    }

    void check_result(const ObjectDef& object) const {
        const PropertyValue* const result = find_property(object, expression_result);
        if (result == nullptr) {
            return;
        }
        const std::string place = place_of(object, result->name);
        if (!result->accessor.empty()) {
            faults_.add(place, "is computed by a formula; it cannot have an accessor");
        }
        if (result->mode == "r-") {
            faults_.add(place, R"("mode" is "r-", with which a computed value is neither stored )"
                               R"(nor announced; leave it out)");
        }
    }

    PropertyPlace target_of(const ObjectDef& object, const char* input) const {
        return index_.follow(object.name, input);
    }

    void check_input(const ObjectDef& object, const char* input) const {
        const PropertyPlace target = target_of(object, input);
        const std::string place = place_of(object, input);
        // What leads nowhere has a fault already.
        if (target.property == nullptr || faults_.has(place) ||
            faults_.has(place_of(*target.object, target.property->name))) {
            return;
        }
        if (target.property->kind == PropertyKind::reference) {
            faults_.add(place,
                        "is an input of a formula and names nothing; give \"object.property\", of "
                        "any number when the formula does not use it");
        } else if (!is_number(target.property->type) &&
                   !faults_.is_doubtful_object(target.object->name)) {
            faults_.add(place, "is an input of a formula and leads to " +
                                   quoted(target.object->name + '.' + target.property->name) +
                                   " of type " + quoted(target.property->type) +
                                   "; formulas take " + number_types);
        }
    }

    // What a read of a formula's value takes; nothing when it was not measured.
    struct Measure {
        std::size_t height = 0;    // formulas behind each other from here, this one included
        std::size_t computed = 0;  // formulas computed, this one included
    };

    // One fault is enough for all formulas on its way.
    void try_to_measure(const ObjectDef& start) {
        try {
            measure(start, start);
        } catch (const Fault& fault) {
            faults_.add(fault.place, fault.cause);
            for (const ObjectDef* const object : path_) {
                is_endless_[index_of(*object)] = true;
            }
        }
        path_.clear();
    }

    // The depth of the recursion is bounded by the limit; a formula that was measured is not
    // entered again.
    Measure measure(const ObjectDef& start, const ObjectDef& object) {
        Measure& known = measures_[index_of(object)];
        path_.push_back(&object);
        if (path_.size() + std::max(known.height, std::size_t{1}) > max_formula_steps + 1) {
            throw Fault{place_of(start), "the formulas from here form a circle, or more than " +
                                             std::to_string(max_formula_steps) + " steps"};
        }
        if (known.height == 0) {
            known = measure_inputs(start, object);
        }
        path_.pop_back();
        return known;
    }

    Measure measure_inputs(const ObjectDef& start, const ObjectDef& object) {
        Measure result{0, 1};
        for (const char* const input : input_names) {
            const PropertyPlace target = target_of(object, input);
            if (target.property != nullptr && !is_endless_[index_of(*target.object)] &&
                is_formula_result(target.object->class_name, target.property->name)) {
                const Measure behind = measure(start, *target.object);
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
        return result;
    }

    const std::vector<ObjectDef>& objects_;
    const std::vector<std::string>& places_;
    Faults& faults_;
    ObjectIndex index_;
    std::vector<Measure> measures_;       // by object
    std::vector<bool> is_endless_;        // by object: on the way of a fault that was noted
    std::vector<const ObjectDef*> path_;  // of the formulas that are being measured
};

}  // namespace

bool is_formula_result(const std::string& class_name, const std::string& property) {
    return class_name == expression_class && property == expression_result;
}

void check_expressions(const std::vector<ClassDef>& classes, const ClassIndex& index,
                       const ObjectList& list, Faults& faults) {
    const std::size_t before = faults.count();
    for (std::size_t at = 0; at < classes.size(); ++at) {
        const ClassDef& entry = classes[at];
        const std::string place = class_place(at, entry.name);
        if (entry.name == expression_class) {
            ClassCheck(entry, place, faults).run();
        } else if (index.is_type(entry.name, expression_class)) {
            faults.add(place,
                       "derives from class \"Expression\"; formulas are computed for "
                       "objects of that class itself only");
        }
    }
    // Formulas of a class that is none cannot be judged.
    if (faults.count() == before) {
        FormulaCheck(list, faults).run();
    }
}

}  // namespace mox::host
