// The calls that hand physical objects over: named values are made and freed here, tables go to the
// registry.
#include <moxplat/driver.h>

#include <cstring>

#include "registry.hpp"

OBJ_PROPERTY_S* create_has_property(const gchar* name, GVariant* value) {
    if (name == nullptr || *name == '\0' || value == nullptr) {
        return nullptr;
    }
    // The name lies behind the record, in the same memory.
    const gsize length = std::strlen(name) + 1;
    auto* property = static_cast<OBJ_PROPERTY_S*>(g_malloc(sizeof(OBJ_PROPERTY_S) + length));
    property->name = reinterpret_cast<gchar*>(property + 1);
    std::memcpy(property->name, name, length);
    property->value = g_variant_take_ref(value);
    return property;
}

void free_has_property(gpointer property) {
    auto* owned = static_cast<OBJ_PROPERTY_S*>(property);
    if (owned == nullptr) {
        return;
    }
    if (owned->value != nullptr) {
        g_variant_unref(owned->value);
    }
    g_free(owned);
}

void create_physical_object(GHashTable* objects) {
    using namespace mox::driver;
    if (objects == nullptr) {
        return;
    }
    GHashTableIter entries;
    gpointer key = nullptr;
    gpointer list = nullptr;
    g_hash_table_iter_init(&entries, objects);
    while (g_hash_table_iter_next(&entries, &key, &list) != FALSE) {
        if (key == nullptr) {
            continue;
        }
        const PhysicalObjectPtr object = Registry::instance().add(static_cast<const gchar*>(key),
                                                                  static_cast<const GSList*>(list));
        const std::string problem = object ? object->problem() : std::string{};
        if (!problem.empty()) {
            g_warning("physical object %s cannot be used: %s", object->key.c_str(),
                      problem.c_str());
        }
    }
}

void delete_physical_object(guint32 position) {
    mox::driver::Registry::instance().forget(position);
}
