// Objects of class "Expression", whose "Value" the object model computes from a formula.
#ifndef MOXHOST_PROFILE_EXPRESSION_CHECK_HPP
#define MOXHOST_PROFILE_EXPRESSION_CHECK_HPP

#include <string>
#include <vector>

#include "profile/class_list.hpp"
#include "profile/object_list.hpp"
#include "profile/profile.hpp"

namespace mox::host {

inline constexpr const char* expression_class = "Expression";
inline constexpr const char* expression_result = "Value";
inline constexpr const char* expression_formula = "Formula";

// Whether a formula computes the property of that name in objects of that class.
bool is_formula_result(const std::string& class_name, const std::string& property);

// Notes everything that would keep a formula from being computed, or from being right: the object
// model itself would read 0, or fail, without a word. The links between the objects have been
// checked.
void check_expressions(const std::vector<ClassDef>& classes, const ClassIndex& index,
                       const ObjectList& list, Faults& faults);

}  // namespace mox::host

#endif
