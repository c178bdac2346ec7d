// Values over a property's bytes, and copies of the stored value.
#include <cstring>

#include "base/bounded_copy.hpp"
#include "base/glib_ptr.hpp"
#include "lom/property.hpp"

namespace mox {
namespace {

// A type field, terminated whatever it holds.
struct TypeText {
    explicit TypeText(const gchar* type) { std::memcpy(text, type, PUB_TYPE_LENGTH); }

    // The type it names, or null. One-letter scalars and strings need no parse.
    const GVariantType* parsed() const {
        const bool is_plain =
            text[1] == '\0' && text[0] != 'a' && pub_str_type_check(text) != GVARIANT_NOT_SUPPORT;
        if (!is_plain && !g_variant_type_string_is_valid(text)) {
            return nullptr;
        }
        const auto* type = reinterpret_cast<const GVariantType*>(text);
        return is_plain || g_variant_type_is_definite(type) ? type : nullptr;
    }

    gchar text[PUB_TYPE_LENGTH + 1] = {};
};

// Text without its terminator, or without any byte, is not taken at its word: whoever looks at such
// a value sees an empty text instead of what lies behind it.
bool is_trusted(const GVariantType* type, gconstpointer data, gsize size) {
    return !g_variant_type_equal(type, G_VARIANT_TYPE_STRING) ||
           (size > 0 && static_cast<const gchar*>(data)[size - 1] == '\0');
}

}  // namespace

bool is_of_type(GVariant* value, const SERIALISED_PROPERTY_S& property) {
    const TypeText text(property.type);
    return g_str_equal(g_variant_get_type_string(value), text.text) != FALSE;
}

GVariant* value_of_bytes(const gchar* type, gpointer data, gsize size) {
    const TypeText text(type);
    const GVariantType* parsed = text.parsed();
    if (parsed == nullptr) {
        g_free(data);
        return nullptr;
    }
    return g_variant_new_from_data(parsed, data, size, is_trusted(parsed, data, size), g_free,
                                   data);
}

GVariant* value_in_place(const gchar* type, gconstpointer data, gsize size) {
    const TypeText text(type);
    const GVariantType* parsed = text.parsed();
    return parsed == nullptr
               ? nullptr
               : g_variant_new_from_data(parsed, data, size, is_trusted(parsed, data, size),
                                         nullptr, nullptr);
}

gint32 copy_stored_value(const SERIALISED_PROPERTY_S& property, TLV_S& tlv) {
    const gsize size = property.size;
    gpointer data = g_try_malloc0(size);
    if (data == nullptr && size != 0) {
        return MOX_ERR_INTERNAL;
    }
    std::memcpy(tlv.type, property.type, PUB_TYPE_LENGTH);
    tlv.size = static_cast<guint32>(size);
    tlv.data = data;
    MOX_LOG_COPY(MOX_COPY_FAILED_EARLY_STOP, "lom",
                 copy_what_fits(tlv.data, size, property.data, property.capacity, size));
    return MOX_OK;
}

}  // namespace mox
