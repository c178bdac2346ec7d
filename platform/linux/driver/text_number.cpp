// What holds here: a text is accepted only when a number ends exactly where the text ends, and no
// number is rounded unless a scale asks for it.
#include "text_number.hpp"

#include <array>
#include <charconv>
#include <cmath>

namespace mox::driver {
namespace {

// Whole numbers above this are not exact as doubles; no type of ours needs them.
constexpr double largest_exact = 9007199254740992.0;

template <typename Number, typename... How>
std::optional<Number> read_whole(std::string_view text, How... how) {
    Number number{};
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number, how...);
    if (result.ec != std::errc{} || result.ptr != end) {
        return std::nullopt;
    }
    return number;
}

std::optional<std::int64_t> read_hex(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    if (text.starts_with('-')) {
        return std::nullopt;
    }
    return read_whole<std::int64_t>(text, 16);
}

std::optional<double> read_real(std::string_view text) {
    const std::optional<double> number = read_whole<double>(text, std::chars_format::general);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

// The value as the type has it: real as it is, whole types rounded, halves away from zero.
std::optional<Value> encode_scaled(double number, ValueType type) {
    if (!std::isfinite(number)) {
        return std::nullopt;
    }
    if (type == ValueType::real) {
        return encode_real(number);
    }
    const double rounded = std::round(number);
    if (std::fabs(rounded) > largest_exact) {
        return std::nullopt;
    }
    return encode_integer(type, static_cast<std::int64_t>(rounded));
}

template <typename Number, typename... How>
std::string write(Number number, How... how) {
    std::array<char, 512> text;
    const std::to_chars_result result =
        std::to_chars(text.data(), text.data() + text.size(), number, how...);
    return {text.data(), result.ptr};
}

std::optional<std::string> write_real(double number) {
    return std::isfinite(number) ? std::optional<std::string>{write(number)} : std::nullopt;
}

// A number that came from a division: 15 digits hide the rounding of the division, so that 45.5 /
// 0.001 is "45500".
std::optional<std::string> write_quotient(double number) {
    if (!std::isfinite(number)) {
        return std::nullopt;
    }
    if (std::fabs(number) >= 1e15) {
        return write(number, std::chars_format::fixed, 0);
    }
    return write(number, std::chars_format::general, 15);
}

}  // namespace

std::optional<Value> parse_number(std::string_view text, const NumberFormat& format) {
    if (format.hex) {
        const std::optional<std::int64_t> number = read_hex(text);
        return number ? encode_integer(format.type, *number) : std::nullopt;
    }
    if (format.scale != 0 || format.type == ValueType::real) {
        const std::optional<double> number = read_real(text);
        return number ? encode_scaled(*number * (format.scale != 0 ? format.scale : 1), format.type)
                      : std::nullopt;
    }
    const std::optional<std::int64_t> number = read_whole<std::int64_t>(text);
    return number ? encode_integer(format.type, *number) : std::nullopt;
}

std::optional<std::string> print_number(const std::uint8_t* bytes, const NumberFormat& format) {
    if (format.type == ValueType::real) {
        const double number = decode_real(bytes);
        return format.scale != 0 ? write_quotient(number / format.scale) : write_real(number);
    }
    const std::int64_t number = decode_integer(format.type, bytes);
    if (!encode_integer(format.type, number)) {
        return std::nullopt;
    }
    if (format.hex) {
        return number < 0 ? std::nullopt : std::optional<std::string>{"0x" + write(number, 16)};
    }
    return format.scale != 0 ? write_quotient(static_cast<double>(number) / format.scale)
                             : write(number);
}

}  // namespace mox::driver
