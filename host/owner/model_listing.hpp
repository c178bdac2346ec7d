// What an operator's tool is told of the model: its classes, objects and properties at a glance.
#ifndef MOXHOST_OWNER_MODEL_LISTING_HPP
#define MOXHOST_OWNER_MODEL_LISTING_HPP

#include <gio/gio.h>
#include <lom.h>

#include <string>
#include <vector>

#include "model/model_index.hpp"
#include "owner/module_registry.hpp"

namespace mox::host {

// For the thread of the main loop only. Replies are floating.
class ModelListing {
public:
    // The references outlive this object. owner_name: has the classes that name no module.
    ModelListing(const ModelIndex& model, const ModuleRegistry& registry, std::string owner_name);

    // Null for a method that is none of these.
    GVariant* answer(const std::string& method, GVariant* arguments) const;

    // The objects that are there, and the collections.
    std::vector<std::string> object_names() const;

    // Bytes of all objects and collections, and of all classes.
    guint64 object_bytes() const;
    guint64 class_bytes() const;

private:
    GVariant* object_infos(const std::string& class_name) const;
    GVariant* class_infos() const;
    GVariant* property_infos(const std::string& object) const;
    void add_object(GVariantBuilder& list, const std::string& name) const;
    void add_property(GVariantBuilder& list, const OBJECT_HEAD_S& record,
                      SERIALISED_PROPERTY_S& property) const;
    GVariant* listeners_of(const gchar* class_name, const gchar* property) const;
    std::vector<std::string> collections() const;

    const ModelIndex& model_;
    const ModuleRegistry& registry_;
    std::string owner_name_;
};

}  // namespace mox::host

#endif
