// Numbers as text: read strictly, written so that they read back as the same value. The process's
// locale plays no part.
#ifndef MOXPLAT_LINUX_DRIVER_TEXT_NUMBER_HPP
#define MOXPLAT_LINUX_DRIVER_TEXT_NUMBER_HPP

#include <optional>
#include <string>
#include <string_view>

#include "value_type.hpp"

namespace mox::driver {

// How a number stands in a text, and what becomes of it.
struct NumberFormat {
    ValueType type = ValueType::int32;
    double scale = 0;  // value = number in the text * scale; 0: the number is the value
    bool hex = false;  // digits of base 16, with or without "0x" before them; whole types without a
                       // scale only
};

// The value of a text that is a number from its first to its last character; nothing when it is
// not, or when the value does not fit the type.
std::optional<Value> parse_number(std::string_view text, const NumberFormat& format);

// The text of a value (size_of(format.type) bytes); nothing when the bytes are no number of the
// type.
std::optional<std::string> print_number(const std::uint8_t* bytes, const NumberFormat& format);

}  // namespace mox::driver

#endif
