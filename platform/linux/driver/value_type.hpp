// The types a value can have when it is delivered, and their encoding: that many bytes in this
// machine's byte order.
#ifndef MOXPLAT_LINUX_DRIVER_VALUE_TYPE_HPP
#define MOXPLAT_LINUX_DRIVER_VALUE_TYPE_HPP

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace mox::driver {

enum class ValueType { boolean, byte, int16, uint16, int32, uint32, real };

// The longest value a caller's buffer must have room for.
inline constexpr std::size_t longest_value = 8;

// A value as callers receive it.
struct Value {
    std::array<std::uint8_t, longest_value> bytes{};
    std::size_t size = 0;
};

// The type of a one-letter type string ("b", "y", "n", "q", "i", "u", "d"); nothing for any other
// text.
std::optional<ValueType> value_type_of(std::string_view text);

// The letter of a type.
char letter_of(ValueType type);

std::size_t size_of(ValueType type);
bool is_signed(ValueType type);

// Encodes a number; nothing when it does not fit the type, or when the type is real.
std::optional<Value> encode_integer(ValueType type, std::int64_t number);

Value encode_real(double number);

// The number that `bytes` (size_of(type) of them) hold; the type is not real.
std::int64_t decode_integer(ValueType type, const std::uint8_t* bytes);

double decode_real(const std::uint8_t* bytes);

}  // namespace mox::driver

#endif
