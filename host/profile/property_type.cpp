// A type must fit the 6-byte field of a property record and be one that the object model stores: a
// scalar of b d i n q u y, a string, or an array.
#include "profile/property_type.hpp"

#include <glib.h>

#include "profile/fault.hpp"

namespace mox::host {
namespace {

constexpr std::size_t longest_type = 5;
constexpr const char* reference_text = "sp";

}  // namespace

bool is_fixed_size(const std::string& type) {
    return type.size() == 1 && std::string_view("bdinquy").find(type[0]) != std::string_view::npos;
}

PropertyType parse_property_type(const std::string& text, const std::string& place) {
    if (text == reference_text) {
        return {"s", PropertyKind::reference};
    }
    if (text.empty() || g_variant_type_string_is_valid(text.c_str()) == FALSE) {
        throw Fault{place, "unknown type string " + quoted(text)};
    }
    if (text.size() > longest_type) {
        throw Fault{place, "type string " + quoted(text) + " is longer than 5 characters"};
    }
    const bool stored = is_fixed_size(text) || text == "s" || text[0] == 'a';
    if (!stored || g_variant_type_is_definite(G_VARIANT_TYPE(text.c_str())) == FALSE) {
        throw Fault{place,
                    "type string " + quoted(text) +
                        " is not one of b d i n q u y s, an array of a definite type, or sp"};
    }
    return {text, PropertyKind::value};
}

}  // namespace mox::host
