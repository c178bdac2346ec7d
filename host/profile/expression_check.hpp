// Objects of class "Expression", whose "Value" the object model computes from a formula.
#ifndef MOXHOST_PROFILE_EXPRESSION_CHECK_HPP
#define MOXHOST_PROFILE_EXPRESSION_CHECK_HPP

#include <string>

#include "profile/class_list.hpp"
#include "profile/profile.hpp"

namespace mox::host {

inline constexpr const char* expression_class = "Expression";
inline constexpr const char* expression_result = "Value";

// Whether a formula computes the property of that name in objects of that class.
bool is_formula_result(const std::string& class_name, const std::string& property);

// Throws a Fault for the first thing that would keep a formula from being computed, or from being
// right: the object model itself would read 0, or fail, without a word. The links between the
// objects have been checked.
void check_expressions(const Profile& profile, const ClassIndex& classes);

}  // namespace mox::host

#endif
