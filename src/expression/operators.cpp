// A right operand below 1 has no whole part, so a remainder by 0.5 is one by zero.
#include "expression/operators.hpp"

#include "expression/complaints.hpp"
#include "expression/integer.hpp"

namespace mox {

gdouble remainder_operator(gdouble left, gdouble right) {
    const guint32 divisor = to_uint32(right);
    if (divisor == 0) {
        complain("mod operator right value is zero\n");
        return 0.0;
    }
    return to_uint32(left) % divisor;
}

gdouble and_operator(gdouble left, gdouble right) {
    return to_uint32(left) & to_uint32(right);
}

gdouble or_operator(gdouble left, gdouble right) {
    return to_uint32(left) | to_uint32(right);
}

}  // namespace mox
