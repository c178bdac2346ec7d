// The owner's objects as this process sees them: names, classes and properties, values from the
// pool.
#ifndef MOX_EXAMPLES_WATCHED_OBJECTS_HPP
#define MOX_EXAMPLES_WATCHED_OBJECTS_HPP

#include <moxhost/moxhost.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "glib_owners.hpp"

namespace mox::examples {

// Why the watching cannot go on, in words for the person at the terminal.
class WatchError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct WatchedProperty {
    std::string name;
    std::string type;
    std::string accessor;  // name of the accessor object; empty: the value is the owner's own
    VariantPtr value;      // as it stood in the pool when the objects were listed
};

struct WatchedObject {
    OBJ_HANDLE handle = 0;
    std::string name;
    std::string class_name;
    std::vector<WatchedProperty> properties;
};

// What the owner has: objects to show, and how many it has besides them for its hardware.
struct WatchedModel {
    std::vector<WatchedObject> objects;
    std::size_t hardware_objects = 0;  // chips, accessors and buses

    std::size_t property_count() const;
    std::size_t accessor_count() const;
};

// Lists all objects but the chips, accessors and buses, with their values. Throws WatchError.
WatchedModel list_objects(MoxHostModule* module);

// Reads the stored value of a property from the pool, without a look at the hardware. Throws
// WatchError.
VariantPtr read_pool(OBJ_HANDLE object, const std::string& property);

}  // namespace mox::examples

#endif
