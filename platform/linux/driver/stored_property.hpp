// The properties of a physical object as the driver library keeps them: deep copies, because the
// values that are handed in lie over memory of the pool and may change or go away.
#ifndef MOXPLAT_LINUX_DRIVER_STORED_PROPERTY_HPP
#define MOXPLAT_LINUX_DRIVER_STORED_PROPERTY_HPP

#include <glib.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox::driver {

struct StoredProperty {
    std::string name;
    std::string type;                 // GVariant type string
    std::vector<std::uint8_t> bytes;  // serialised value, this machine's byte order
};

using PropertyList = std::vector<StoredProperty>;

// Copies a list of OBJ_PROPERTY_S; entries without a name or a value are left out.
PropertyList copy_properties(const GSList* list);

// True when the list holds what was copied, in the same order. Allocates nothing.
bool is_unchanged(const PropertyList& properties, const GSList* list);

// The first property of the name, or null. The first one counts because the position, the semaphore
// and the object's name stand before the properties of the class.
const StoredProperty* find_property(const PropertyList& properties, std::string_view name);

// The text of a string property, up to its first NUL; nothing for other types.
std::optional<std::string_view> text_of(const StoredProperty& property);

// The number in a property of a whole type, 64-bit ones included; nothing for other types and above
// 2^63 - 1.
std::optional<std::int64_t> integer_of(const StoredProperty& property);

std::optional<double> real_of(const StoredProperty& property);

// The value for a reader, in GVariant text form.
std::string printed(const StoredProperty& property);

}  // namespace mox::driver

#endif
