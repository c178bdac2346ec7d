// The operators that formulas have beside the formula library's own. They work on unsigned 32-bit
// integers: formulas use them on registers and their fields.
#ifndef MOX_EXPRESSION_OPERATORS_HPP
#define MOX_EXPRESSION_OPERATORS_HPP

#include <glib.h>

namespace mox {

// "%": the unsigned remainder; 0 (logged) when the right operand's whole part is 0.
gdouble remainder_operator(gdouble left, gdouble right);

// "&" and "|", bit by bit.
gdouble and_operator(gdouble left, gdouble right);
gdouble or_operator(gdouble left, gdouble right);

}  // namespace mox

#endif
