// A type must fit the 6-byte field of a property record and be one that the object model stores: a
// scalar of b d i n q u y, a string, or an array.
#include "profile/property_type.hpp"

#include <glib.h>

#include <string_view>

namespace mox::host {
namespace {

constexpr std::size_t longest_type = 5;
constexpr const char* reference_text = "sp";

}  // namespace

bool is_fixed_size(const std::string& type) {
    return type.size() == 1 && std::string_view("bdinquy").find(type[0]) != std::string_view::npos;
}

std::optional<std::string> parse_value_type(const std::string& text, const std::string& place,
                                            Faults& faults, const char* more) {
    if (text.empty() || g_variant_type_string_is_valid(text.c_str()) == FALSE) {
        faults.add(place, "unknown type string " + quoted(text));
        return std::nullopt;
    }
    if (text.size() > longest_type) {
        faults.add(place, "type string " + quoted(text) + " is longer than 5 characters");
        return std::nullopt;
    }
    const bool stored = is_fixed_size(text) || text == "s" || text[0] == 'a';
    if (!stored || g_variant_type_is_definite(G_VARIANT_TYPE(text.c_str())) == FALSE) {
        faults.add(place, "type string " + quoted(text) +
                              " is not one of b d i n q u y s, an array of a definite type" + more);
        return std::nullopt;
    }
    return text;
}

std::optional<PropertyType> parse_property_type(const std::string& text, const std::string& place,
                                                Faults& faults) {
    if (text == reference_text) {
        return PropertyType{"s", PropertyKind::reference};
    }
    const std::optional<std::string> type = parse_value_type(text, place, faults, ", or sp");
    return type ? std::optional(PropertyType{*type, PropertyKind::value}) : std::nullopt;
}

}  // namespace mox::host
