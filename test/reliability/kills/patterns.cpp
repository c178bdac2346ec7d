// Faults are told with the place where the value changes: it says how far a killed writer came.
#include "patterns.hpp"

#include <algorithm>
#include <array>
#include <cstring>

namespace mox::kills {
namespace {

constexpr std::array<std::size_t, kLengths> lengths = {8, 20, 100, 333, 700, 1200, kLongestText};

std::size_t length_of(int letter) {
    return lengths[static_cast<std::size_t>(letter % kLengths)];
}

std::size_t count_of(std::int32_t number) {
    return 3 + static_cast<std::size_t>(number % 8) * 50;
}

}  // namespace

std::string text_of(int letter) {
    return std::string(length_of(letter % kLetters), static_cast<char>('A' + letter % kLetters));
}

std::vector<std::int32_t> list_of(int number) {
    return std::vector<std::int32_t>(count_of(number), number);
}

double real_of(int number) {
    // The upper half of a number of about 1, so that it is an ordinary one.
    const auto half = static_cast<std::uint32_t>(0x3ff00000 + number % 0xfffff);
    const std::uint64_t bits = (std::uint64_t{half} << 32) | half;
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::string text_fault(const void* bytes, std::size_t size) {
    const auto* const text = static_cast<const char*>(bytes);
    if (size == 0) {
        return "no bytes";
    }
    const char first = text[0];
    const std::size_t same = static_cast<std::size_t>(
        std::find_if(text, text + size, [first](char c) { return c != first; }) - text);
    const std::string found = std::to_string(size) + " bytes, " + std::to_string(same) +
                              " times '" + (first == 0 ? "\\0" : std::string(1, first)) + "'";
    if (first < 'A' || first >= 'A' + kLetters) {
        return found + ": no letter";
    }
    if (same + 1 != size || text[same] != 0) {
        const bool has_letter = same < size && text[same] != 0;
        return found + (has_letter ? std::string(" and then '") + text[same] + "'" : "");
    }
    const std::size_t length = length_of(first - 'A');
    return same == length ? "" : found + ", which has " + std::to_string(length);
}

std::string list_fault(const void* bytes, std::size_t size) {
    std::vector<std::int32_t> numbers(size / sizeof(std::int32_t));
    if (numbers.empty() || size % sizeof(std::int32_t) != 0) {
        return std::to_string(size) + " bytes";
    }
    std::memcpy(numbers.data(), bytes, size);
    const auto other = std::find_if(numbers.begin(), numbers.end(),
                                    [&](std::int32_t number) { return number != numbers[0]; });
    if (other != numbers.end()) {
        return std::to_string(other - numbers.begin()) + " of " + std::to_string(numbers.size()) +
               " are " + std::to_string(numbers[0]) + " and then " + std::to_string(*other);
    }
    if (numbers[0] < 0 || numbers.size() != count_of(numbers[0])) {
        return std::to_string(numbers.size()) + " times " + std::to_string(numbers[0]);
    }
    return "";
}

std::string real_fault(const void* bytes, std::size_t size) {
    std::array<std::uint32_t, 2> halves = {};
    if (size != sizeof halves) {
        return std::to_string(size) + " bytes";
    }
    std::memcpy(halves.data(), bytes, size);
    return halves[0] == halves[1]
               ? ""
               : "halves " + std::to_string(halves[0]) + " and " + std::to_string(halves[1]);
}

}  // namespace mox::kills
