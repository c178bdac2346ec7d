// The bytes are copied before they are looked at: a variant wants its type's alignment, which
// neither a caller's nor the database's bytes promise.
#include "value_check.hpp"

#include <cstring>
#include <string_view>

namespace mox::persist {
namespace {

constexpr gsize longest_type = 5;

// The bytes of a number's type, of which all are values; 0 for any other type.
gsize number_size(const gchar* type) {
    if (type[0] == '\0' || type[1] != '\0') return 0;
    switch (type[0]) {
        case 'y':
            return 1;
        case 'n':
        case 'q':
            return 2;
        case 'i':
        case 'u':
            return 4;
        case 'x':
        case 't':
        case 'd':
            return 8;
        default:
            return 0;
    }
}

// The variant type behind the persisted form; null when it is none.
const gchar* variant_type(const gchar* type) {
    const std::string_view text{type};
    if (text == "rp" || text == "ro") return "s";
    if (text == "rpa" || text == "roa") return "as";
    if (text.size() > longest_type || g_variant_type_string_is_valid(type) == FALSE) return nullptr;
    const GVariantType* parsed = G_VARIANT_TYPE(type);
    const bool is_kept =
        g_variant_type_is_definite(parsed) != FALSE &&
        (g_variant_type_is_basic(parsed) != FALSE || g_variant_type_is_array(parsed) != FALSE);
    return is_kept ? type : nullptr;
}

}  // namespace

bool is_persisted_type(const gchar* type) {
    return number_size(type) != 0 || variant_type(type) != nullptr;
}

ValueCheck check_value(const gchar* type, guint32 size, gconstpointer data) {
    if (const gsize expected = number_size(type); expected != 0) {
        return size == expected ? ValueCheck::good : ValueCheck::bad;
    }
    gpointer copy = nullptr;
    if (size != 0) {
        copy = g_try_malloc(size);
        if (copy == nullptr) return ValueCheck::out_of_memory;
        std::memcpy(copy, data, size);
    }
    GVariant* value = g_variant_ref_sink(g_variant_new_from_data(G_VARIANT_TYPE(variant_type(type)),
                                                                 copy, size, FALSE, g_free, copy));
    const bool is_good =
        g_variant_get_size(value) == size && g_variant_is_normal_form(value) != FALSE;
    g_variant_unref(value);
    return is_good ? ValueCheck::good : ValueCheck::bad;
}

}  // namespace mox::persist
