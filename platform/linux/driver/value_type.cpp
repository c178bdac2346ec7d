// What holds here: every type has a row in the table, and a number is only ever encoded after its
// range was checked.
#include "value_type.hpp"

#include <cstring>
#include <limits>

namespace mox::driver {
namespace {

struct TypeFacts {
    ValueType type;
    char letter;
    std::size_t size;
    std::int64_t lowest;
    std::int64_t highest;
};

template <typename Number>
constexpr TypeFacts facts(ValueType type, char letter) {
    return {type, letter, sizeof(Number), std::numeric_limits<Number>::min(),
            std::numeric_limits<Number>::max()};
}

// In the order of the enumeration, so that a type is its row's index.
constexpr std::array<TypeFacts, 7> type_table{{
    {ValueType::boolean, 'b', 1, 0, 1},
    facts<std::uint8_t>(ValueType::byte, 'y'),
    facts<std::int16_t>(ValueType::int16, 'n'),
    facts<std::uint16_t>(ValueType::uint16, 'q'),
    facts<std::int32_t>(ValueType::int32, 'i'),
    facts<std::uint32_t>(ValueType::uint32, 'u'),
    {ValueType::real, 'd', sizeof(double), 0, 0},
}};

const TypeFacts& facts_of(ValueType type) {
    return type_table[static_cast<std::size_t>(type)];
}

template <typename Number>
Value encode(Number number) {
    Value value;
    value.size = sizeof number;
    std::memcpy(value.bytes.data(), &number, sizeof number);
    return value;
}

template <typename Number>
Number decode(const std::uint8_t* bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

}  // namespace

std::optional<ValueType> value_type_of(std::string_view text) {
    for (const TypeFacts& row : type_table) {
        if (text.size() == 1 && text.front() == row.letter) {
            return row.type;
        }
    }
    return std::nullopt;
}

char letter_of(ValueType type) {
    return facts_of(type).letter;
}

std::size_t size_of(ValueType type) {
    return facts_of(type).size;
}

bool is_signed(ValueType type) {
    return facts_of(type).lowest < 0;
}

std::optional<Value> encode_integer(ValueType type, std::int64_t number) {
    const TypeFacts& row = facts_of(type);
    if (number < row.lowest || number > row.highest) {
        return std::nullopt;
    }
    switch (type) {
        case ValueType::boolean:
        case ValueType::byte:
            return encode(static_cast<std::uint8_t>(number));
        case ValueType::int16:
            return encode(static_cast<std::int16_t>(number));
        case ValueType::uint16:
            return encode(static_cast<std::uint16_t>(number));
        case ValueType::int32:
            return encode(static_cast<std::int32_t>(number));
        case ValueType::uint32:
            return encode(static_cast<std::uint32_t>(number));
        case ValueType::real:
            break;
    }
    return std::nullopt;
}

Value encode_real(double number) {
    return encode(number);
}

std::int64_t decode_integer(ValueType type, const std::uint8_t* bytes) {
    switch (type) {
        case ValueType::boolean:
        case ValueType::byte:
            return decode<std::uint8_t>(bytes);
        case ValueType::int16:
            return decode<std::int16_t>(bytes);
        case ValueType::uint16:
            return decode<std::uint16_t>(bytes);
        case ValueType::int32:
            return decode<std::int32_t>(bytes);
        case ValueType::uint32:
            return decode<std::uint32_t>(bytes);
        case ValueType::real:
            break;
    }
    return 0;
}

double decode_real(const std::uint8_t* bytes) {
    return decode<double>(bytes);
}

}  // namespace mox::driver
