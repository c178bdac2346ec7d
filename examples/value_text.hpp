// Values as people read them.
#ifndef MOX_EXAMPLES_VALUE_TEXT_HPP
#define MOX_EXAMPLES_VALUE_TEXT_HPP

#include <glib.h>

#include <string>

namespace mox::examples {

// A double in the shortest digits that read back as the same number, never with an exponent.
std::string text_of_real(double number);

// A value in the text form of its type.
std::string text_of_value(GVariant* value);

}  // namespace mox::examples

#endif
