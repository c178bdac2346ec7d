// The registered physical objects of this process.
#ifndef MOXPLAT_LINUX_DRIVER_REGISTRY_HPP
#define MOXPLAT_LINUX_DRIVER_REGISTRY_HPP

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "physical_object.hpp"

namespace mox::driver {

// An accessor with its chip; null where there is none.
struct Route {
    PhysicalObjectPtr accessor;
    PhysicalObjectPtr chip;
};

class Registry {
public:
    // The registry of the process. It is never destroyed: threads may still read while the process
    // ends.
    static Registry& instance();

    // Registers the object unless it is known and unchanged. Returns it when it is new or was
    // changed, else null.
    PhysicalObjectPtr add(const gchar* key, const GSList* properties);

    void forget(std::int64_t position);

    Route route(std::string_view accessor) const;

    // All objects, by key.
    std::vector<PhysicalObjectPtr> all() const;

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>{}(text);
        }
    };
    using Table = std::unordered_map<std::string, PhysicalObjectPtr, Hash, std::equal_to<>>;

    static PhysicalObjectPtr find(const Table& table, std::string_view name);
    void put(const PhysicalObjectPtr& object);

    // Guards both tables; held for look-ups and changes only, never while a value is copied, parsed
    // or read. No other lock is taken while it is held.
    mutable std::mutex mutex_;
    Table by_key_;
    Table by_name_;  // the same objects: names are unique, so an object takes the place of another
                     // class's namesake
};

}  // namespace mox::driver

#endif
