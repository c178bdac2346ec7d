// Doubles as integers: the fraction is dropped and the low 32 bits are kept, so that masks work on
// negative inputs, too; what is no number or infinite becomes 0. Defined for every double, which a
// cast is not.
#ifndef MOX_EXPRESSION_INTEGER_HPP
#define MOX_EXPRESSION_INTEGER_HPP

#include <glib.h>

#include <cmath>

namespace mox {

inline guint32 to_uint32(gdouble value) {
    constexpr gdouble range = 4294967296.0;
    if (!std::isfinite(value)) {
        return 0;
    }
    if (value >= 0 && value < range) {
        return static_cast<guint32>(value);
    }
    const gdouble remainder = std::fmod(std::trunc(value), range);
    return static_cast<guint32>(remainder < 0 ? remainder + range : remainder);
}

inline gint32 to_int32(gdouble value) {
    return static_cast<gint32>(to_uint32(value));
}

}  // namespace mox

#endif
