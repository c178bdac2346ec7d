// Values over a property's bytes, and copies of the stored value.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/bounded_copy.hpp"
#include "base/glib_ptr.hpp"
#include "lom/property.hpp"
#include "lom/stored_bytes.hpp"

namespace mox {
namespace {

// A type field, terminated whatever it holds.
struct TypeText {
    explicit TypeText(const gchar* type) {
        std::memcpy(text, type, PUB_TYPE_LENGTH);
        is_plain =
            text[1] == '\0' && text[0] != 'a' && pub_str_type_check(text) != GVARIANT_NOT_SUPPORT;
    }

    // The type it names, or null. One-letter numbers and strings need no parse.
    const GVariantType* parsed() const {
        const auto* type = reinterpret_cast<const GVariantType*>(text);
        if (is_plain) {
            return type;
        }
        return g_variant_type_string_is_valid(text) && g_variant_type_is_definite(type) ? type
                                                                                        : nullptr;
    }

    // Whether any bytes of the right count are a value. All others may have been put there by a
    // process that wrote past the library: text and containers are checked by whoever looks into
    // them, and what is malformed there reads as the default of its type.
    bool is_number() const { return is_plain && text[0] != 's'; }

    gchar text[PUB_TYPE_LENGTH + 1] = {};
    bool is_plain;
};

// Copies the stored bytes that are there and zeroes the rest of what the record declares.
void copy_declared(const SERIALISED_PROPERTY_S& property, gpointer dest, gsize room) {
    const gsize there = property.data == nullptr ? 0 : std::min(room, property.capacity);
    if (there > 0) {
        std::memcpy(dest, property.data, there);
    }
    if (there < room) [[unlikely]] {
        std::memset(static_cast<guint8*>(dest) + there, 0, room - there);
        MOX_LOG_COPY(MOX_COPY_FAILED_EARLY_STOP, "lom", property.data == nullptr ? EINVAL : ERANGE);
    }
}

}  // namespace

bool is_of_type(const gchar* type, const SERIALISED_PROPERTY_S& property) {
    if (type[1] == '\0') {
        return type[0] == property.type[0] && property.type[1] == '\0';
    }
    const TypeText text(property.type);
    return std::strcmp(type, text.text) == 0;
}

GVariant* value_of_bytes(const gchar* type, gpointer data, gsize size) {
    return value_held_by(type, data, size, g_free, data);
}

GVariant* value_held_by(const gchar* type, gconstpointer data, gsize size, GDestroyNotify drop,
                        gpointer holder) {
    const TypeText text(type);
    const GVariantType* parsed = text.parsed();
    if (parsed == nullptr) {
        drop(holder);
        return nullptr;
    }
    return g_variant_new_from_data(parsed, data, size, text.is_number(), drop, holder);
}

GVariant* value_in_place(const gchar* type, gconstpointer data, gsize size) {
    const TypeText text(type);
    const GVariantType* parsed = text.parsed();
    return parsed == nullptr
               ? nullptr
               : g_variant_new_from_data(parsed, data, size, text.is_number(), nullptr, nullptr);
}

gint32 copy_stored_value(const SERIALISED_PROPERTY_S& property, TLV_S& tlv) {
    if (is_half_written(property)) {
        return MOX_ERR_INTERNAL;
    }
    const gsize size = property.size;
    if (size > kLargestValue) [[unlikely]] {
        return MOX_ERR_INTERNAL;
    }
    gpointer data = g_try_malloc(size);
    if (data == nullptr && size != 0) {
        return MOX_ERR_INTERNAL;
    }
    std::memcpy(tlv.type, property.type, PUB_TYPE_LENGTH);
    tlv.size = static_cast<guint32>(size);
    tlv.data = data;
    copy_declared(property, data, size);
    return MOX_OK;
}

gsize copy_stored_into(const SERIALISED_PROPERTY_S& property, gpointer dest, gsize room) {
    const gsize size = property.size;
    copy_declared(property, dest, std::min(size, room));
    return size;
}

}  // namespace mox
