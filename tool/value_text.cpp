#include "value_text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "verb.hpp"
#include "wire/quoted_text.hpp"

namespace mox::tool {
namespace {

// GLib does not read its own decimal text of the smallest numbers back, but it reads hexadecimal.
std::string hexadecimal(double number) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%a", number);
    return text.data();
}

// A GVariant text whose numbers can all be read back.
std::string readable(const std::string& text) {
    static constexpr char of_number[] = "0123456789+-.e";
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at + 1;
        if (text[at] == '\'' || text[at] == '"') {
            end = host::wire::end_of_quoted(text, at);
        } else if (std::strchr(of_number, text[at]) != nullptr) {
            end = std::min(text.find_first_not_of(of_number, at), text.size());
        }
        const std::string part = text.substr(at, end - at);
        const bool is_small =
            part.find("e-3") != std::string::npos &&
            std::fpclassify(g_ascii_strtod(part.c_str(), nullptr)) == FP_SUBNORMAL;
        result += is_small ? hexadecimal(g_ascii_strtod(part.c_str(), nullptr)) : part;
        at = end;
    }
    return result;
}

std::string printed(GVariant* value, gboolean is_annotated) {
    const TextPtr text{g_variant_print(value, is_annotated)};
    return readable(text.get());
}

// The shortest text that reads back as the same number; GLib gives all 17 digits.
std::string number_text(double number) {
    if (std::fpclassify(number) == FP_SUBNORMAL) {
        return hexadecimal(number);
    }
    std::array<char, 32> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    std::string text(digits.data(), result.ptr);
    return text.find_first_of(".enf") == std::string::npos ? text + ".0" : text;
}

std::string numbers_text(GVariant* array) {
    gsize count = 0;
    const auto* const numbers =
        static_cast<const gdouble*>(g_variant_get_fixed_array(array, &count, sizeof(gdouble)));
    std::string text;
    for (gsize at = 0; at < count; ++at) {
        text += (at == 0 ? "" : ", ") + number_text(numbers[at]);
    }
    return "[" + text + "]";
}

bool begins_with_quote(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first != std::string::npos && (text[first] == '\'' || text[first] == '"');
}

}  // namespace

std::string plain_text(GVariant* value) {
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_DOUBLE) != FALSE) {
        return number_text(g_variant_get_double(value));
    }
    if (g_variant_is_of_type(value, G_VARIANT_TYPE("ad")) != FALSE) {
        return numbers_text(value);
    }
    return printed(value, FALSE);
}

std::string exact_text(GVariant* value) {
    return printed(value, TRUE);
}

void add_value(JsonWriter& json, GVariant* value) {
    json.member("type", g_variant_get_type_string(value));
    json.member("value", exact_text(value));
}

std::string cause_of(const std::string& message, const std::string& text) {
    const std::size_t colon = message.find(':');
    const std::string places = message.substr(0, colon);
    if (colon == std::string::npos || places.find_first_not_of("0123456789-,") != places.npos) {
        return message;
    }
    const std::string cause = message.substr(colon + 1);
    std::size_t farthest = 0;
    for (const char* at = places.c_str(); *at != '\0';) {
        char* end = nullptr;
        farthest = std::max<std::size_t>(farthest, std::strtoul(at, &end, 10));
        at = *end == '\0' ? end : end + 1;
    }
    return farthest > text.size() ? cause : "characters " + places + ": " + cause;
}

VariantPtr value_of_text(const std::string& text, const std::string& type,
                         const std::string& place) {
    ErrorHolder error;
    const std::string words = type_words(type);
    const std::string what = place + " is not written: \"" + text + "\" is no value of its type " +
                             type + (words.empty() ? "" : ", " + words);
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE) {
        throw Failed(what + ": it is not UTF-8");
    }
    if (const std::string escape = host::wire::bad_escape(text); !escape.empty()) {
        throw Failed(what + ": " + escape + " stands for no character");
    }
    GVariant* const value =
        g_variant_parse(G_VARIANT_TYPE(type.c_str()), text.c_str(), nullptr, nullptr, error.out());
    if (value != nullptr) {
        return VariantPtr{value};  // not a floating one, unlike those that are made
    }
    if (type == "s" && !begins_with_quote(text)) {
        return VariantPtr{g_variant_ref_sink(g_variant_new_string(text.c_str()))};
    }
    const bool is_out_of_range =
        error.is(G_VARIANT_PARSE_ERROR, G_VARIANT_PARSE_ERROR_NUMBER_OUT_OF_RANGE) ||
        error.is(G_VARIANT_PARSE_ERROR, G_VARIANT_PARSE_ERROR_NUMBER_TOO_BIG);
    const bool has_real = type.find('d') != std::string::npos;
    throw Failed(what + " (" + cause_of(error.text(), text) + ")" +
                 (is_out_of_range && has_real
                      ? "; decimal numbers go from 2.2250738585072014e-308 to "
                        "1.7976931348623157e308, beyond them stand inf, "
                        "and hexadecimal ones as 0x1p-1074"
                      : ""));
}

std::string type_words(const std::string& type) {
    static const std::map<std::string, std::string> words{
        {"b", "true or false"},         {"y", "number from 0 to 255"},
        {"n", "16-bit signed number"},  {"q", "16-bit unsigned number"},
        {"i", "32-bit signed number"},  {"u", "32-bit unsigned number"},
        {"x", "64-bit signed number"},  {"t", "64-bit unsigned number"},
        {"d", "floating-point number"}, {"s", "text"}};
    const auto found = words.find(type);
    return found == words.end() ? "" : found->second;
}

}  // namespace mox::tool
