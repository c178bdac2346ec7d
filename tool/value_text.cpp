#include "value_text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>

#include "verb.hpp"

namespace mox::tool {
namespace {

// GLib does not read its own decimal text of the smallest numbers back, but it reads hexadecimal.
std::string hexadecimal(double number) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%a", number);
    return text.data();
}

// The end of the text in quotes that begins at a place, behind its closing quote.
std::size_t end_of_quoted(const std::string& text, std::size_t at) {
    const char quote = text[at++];
    while (at < text.size() && text[at] != quote) {
        at += std::size_t{text[at] == '\\' ? 2U : 1U};
    }
    return std::min(at + 1, text.size());
}

// A GVariant text whose numbers can all be read back.
std::string readable(const std::string& text) {
    static constexpr char of_number[] = "0123456789+-.e";
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at + 1;
        if (text[at] == '\'' || text[at] == '"') {
            end = end_of_quoted(text, at);
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

VariantPtr value_of_text(const std::string& text, const std::string& type,
                         const std::string& place) {
    ErrorHolder error;
    const std::string words = type_words(type);
    const std::string what = place + " is not written: \"" + text + "\" is no value of its type " +
                             type + (words.empty() ? "" : ", " + words);
    if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) == FALSE) {
        throw Failed(what + ": it is not UTF-8");
    }
    GVariant* const value =
        g_variant_parse(G_VARIANT_TYPE(type.c_str()), text.c_str(), nullptr, nullptr, error.out());
    if (value != nullptr) {
        return VariantPtr{value};  // not a floating one, unlike those that are made
    }
    if (type == "s" && !begins_with_quote(text)) {
        return VariantPtr{g_variant_ref_sink(g_variant_new_string(text.c_str()))};
    }
    // The parser says "0-3:cause", counting characters from 0.
    std::string cause = error.text();
    if (const std::size_t colon = cause.find(':'); colon != std::string::npos) {
        cause.insert(colon + 1, " ");
    }
    throw Failed(what + " (characters " + cause + ")");
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
