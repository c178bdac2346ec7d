// What holds here: both tables hold the same objects whenever the mutex is free.
#include "registry.hpp"

#include <algorithm>

namespace mox::driver {

Registry& Registry::instance() {
    static auto* registry = new Registry;
    return *registry;
}

PhysicalObjectPtr Registry::find(const Table& table, std::string_view name) {
    const auto found = table.find(name);
    return found == table.end() ? nullptr : found->second;
}

void Registry::put(const PhysicalObjectPtr& object) {
    const std::scoped_lock lock{mutex_};
    if (const PhysicalObjectPtr before = find(by_key_, object->key)) {
        by_name_.erase(before->name);
    }
    if (const PhysicalObjectPtr namesake = find(by_name_, object->name)) {
        by_key_.erase(namesake->key);
    }
    by_key_[object->key] = object;
    by_name_[object->name] = object;
}

PhysicalObjectPtr Registry::add(const gchar* key, const GSList* properties) {
    PhysicalObjectPtr known;
    {
        const std::scoped_lock lock{mutex_};
        known = find(by_key_, key);
    }
    if (known && is_unchanged(known->properties, properties)) {
        return nullptr;
    }
    PhysicalObjectPtr object = make_physical_object(key, properties);
    put(object);
    return object;
}

void Registry::forget(std::int64_t position) {
    const std::scoped_lock lock{mutex_};
    std::erase_if(by_key_, [this, position](const Table::value_type& entry) {
        const bool is_there = entry.second->position == position;
        if (is_there) {
            by_name_.erase(entry.second->name);
        }
        return is_there;
    });
}

Route Registry::route(std::string_view accessor) const {
    const std::scoped_lock lock{mutex_};
    Route route{find(by_name_, accessor), nullptr};
    if (route.accessor && route.accessor->accessor) {
        route.chip = find(by_name_, route.accessor->accessor->chip);
    }
    return route;
}

std::vector<PhysicalObjectPtr> Registry::all() const {
    std::vector<PhysicalObjectPtr> objects;
    {
        const std::scoped_lock lock{mutex_};
        objects.reserve(by_key_.size());
        for (const Table::value_type& entry : by_key_) {
            objects.push_back(entry.second);
        }
    }
    std::sort(
        objects.begin(), objects.end(),
        [](const PhysicalObjectPtr& a, const PhysicalObjectPtr& b) { return a->key < b->key; });
    return objects;
}

}  // namespace mox::driver
