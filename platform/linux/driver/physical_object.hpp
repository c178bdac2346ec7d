// A physical object as it was registered: never changed once made, so any thread may read it
// without a lock.
#ifndef MOXPLAT_LINUX_DRIVER_PHYSICAL_OBJECT_HPP
#define MOXPLAT_LINUX_DRIVER_PHYSICAL_OBJECT_HPP

#include <memory>
#include <optional>
#include <string>

#include "location.hpp"
#include "stored_property.hpp"

namespace mox::driver {

struct PhysicalObject {
    std::string key;   // "Class.Object", as it was handed in
    std::string name;  // of the object
    PropertyList properties;
    std::optional<std::int64_t> position;
    std::optional<Location> accessor;
    std::optional<ChipPath> chip;

    // What keeps the object from being used as an accessor or a chip; empty when nothing does.
    std::string problem() const;
};

using PhysicalObjectPtr = std::shared_ptr<const PhysicalObject>;

PhysicalObjectPtr make_physical_object(const gchar* key, const GSList* properties);

}  // namespace mox::driver

#endif
