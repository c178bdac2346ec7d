// What holds here: a value handed in is looked at through its serialised bytes only and never past
// their count; what is copied once is all that later decisions are made on.
#include "stored_property.hpp"

#include <moxplat/driver.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace mox::driver {
namespace {

// The entry as a named value, or null when it is none.
const OBJ_PROPERTY_S* usable(const GSList* node) {
    const auto* property = static_cast<const OBJ_PROPERTY_S*>(node->data);
    const bool is_whole =
        property != nullptr && property->name != nullptr && property->value != nullptr;
    return is_whole ? property : nullptr;
}

bool is_same(const StoredProperty& stored, const OBJ_PROPERTY_S& given) {
    if (stored.name != given.name || stored.type != g_variant_get_type_string(given.value)) {
        return false;
    }
    const gsize size = g_variant_get_size(given.value);
    if (size != stored.bytes.size()) {
        return false;
    }
    const gconstpointer bytes = g_variant_get_data(given.value);
    return size == 0 || (bytes != nullptr && std::memcmp(bytes, stored.bytes.data(), size) == 0);
}

StoredProperty copy(const OBJ_PROPERTY_S& given) {
    StoredProperty stored{given.name, g_variant_get_type_string(given.value), {}};
    const auto* bytes = static_cast<const std::uint8_t*>(g_variant_get_data(given.value));
    if (bytes != nullptr) {
        stored.bytes.assign(bytes, bytes + g_variant_get_size(given.value));
    }
    return stored;
}

template <typename Number>
std::optional<Number> number_of(const StoredProperty& property) {
    if (property.bytes.size() != sizeof(Number)) {
        return std::nullopt;
    }
    Number number;
    std::memcpy(&number, property.bytes.data(), sizeof number);
    return number;
}

}  // namespace

PropertyList copy_properties(const GSList* list) {
    PropertyList properties;
    for (const GSList* node = list; node != nullptr; node = node->next) {
        if (const OBJ_PROPERTY_S* given = usable(node)) {
            properties.push_back(copy(*given));
        }
    }
    return properties;
}

bool is_unchanged(const PropertyList& properties, const GSList* list) {
    auto stored = properties.begin();
    for (const GSList* node = list; node != nullptr; node = node->next) {
        const OBJ_PROPERTY_S* given = usable(node);
        if (given == nullptr) {
            continue;
        }
        if (stored == properties.end() || !is_same(*stored, *given)) {
            return false;
        }
        ++stored;
    }
    return stored == properties.end();
}

const StoredProperty* find_property(const PropertyList& properties, std::string_view name) {
    const auto found =
        std::find_if(properties.begin(), properties.end(),
                     [name](const StoredProperty& property) { return property.name == name; });
    return found == properties.end() ? nullptr : &*found;
}

std::optional<std::string_view> text_of(const StoredProperty& property) {
    if (property.type != "s") {
        return std::nullopt;
    }
    const auto end = std::find(property.bytes.begin(), property.bytes.end(), 0);
    // Characters may be looked at as such; the view ends inside the bytes.
    return std::string_view{reinterpret_cast<const char*>(property.bytes.data()),
                            static_cast<std::size_t>(end - property.bytes.begin())};
}

std::optional<std::int64_t> integer_of(const StoredProperty& property) {
    if (property.type.size() != 1) {
        return std::nullopt;
    }
    switch (property.type.front()) {
        case 'y':
            return number_of<std::uint8_t>(property);
        case 'n':
            return number_of<std::int16_t>(property);
        case 'q':
            return number_of<std::uint16_t>(property);
        case 'i':
            return number_of<std::int32_t>(property);
        case 'u':
            return number_of<std::uint32_t>(property);
        case 'x':
            return number_of<std::int64_t>(property);
        case 't': {
            const std::optional<std::uint64_t> number = number_of<std::uint64_t>(property);
            constexpr auto highest =
                static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
            return number && *number <= highest ? std::optional<std::int64_t>{*number}
                                                : std::nullopt;
        }
        default:
            return std::nullopt;
    }
}

std::optional<double> real_of(const StoredProperty& property) {
    return property.type == "d" ? number_of<double>(property) : std::nullopt;
}

std::string printed(const StoredProperty& property) {
    // Not trusted: bytes that are no value of the type then print as the type's default.
    GVariant* value = g_variant_ref_sink(g_variant_new_from_data(
        reinterpret_cast<const GVariantType*>(property.type.c_str()), property.bytes.data(),
        property.bytes.size(), FALSE, nullptr, nullptr));
    gchar* text = g_variant_print(value, FALSE);
    std::string result{text};
    g_free(text);
    g_variant_unref(value);
    return result;
}

}  // namespace mox::driver
