#include "watched_objects.hpp"

#include <lom.h>

#include <array>

namespace mox::examples {
namespace {

StringsPtr require(gchar** strings, const std::string& what, const Failure& failure) {
    if (strings == nullptr) throw WatchError("cannot list " + what + ": " + failure.text());
    return StringsPtr{strings};
}

std::string class_of(OBJ_HANDLE object) {
    std::array<gchar, PUB_NAME_LENGTH> name{};
    const gint32 code = lom_get_class_name(object, name.data(), PUB_NAME_LENGTH);
    if (code != MOX_OK) {
        throw WatchError("cannot tell the class of an object: code " + std::to_string(code));
    }
    return name.data();
}

bool is_hardware(const std::string& class_name) {
    for (const char* hardware : {"Chip", "Accessor", "Bus"}) {
        if (cls_name_is_type(class_name.c_str(), hardware)) return true;
    }
    return false;
}

WatchedProperty look_at(OBJ_HANDLE object, const std::string& name) {
    WatchedProperty property;
    property.name = name;
    std::array<gchar, PUB_TYPE_LENGTH> type{};
    const gint32 code = lom_get_property_type(object, name.c_str(), type.data(), PUB_TYPE_LENGTH);
    if (code != MOX_OK) {
        throw WatchError("cannot tell the type of " + name + ": code " + std::to_string(code));
    }
    property.type = type.data();
    std::array<gchar, PUB_NAME_LENGTH> accessor{};
    if (lom_get_property_accessor(object, name.c_str(), accessor.data(), PUB_NAME_LENGTH) ==
        MOX_OK) {
        property.accessor = accessor.data();
    }
    property.value = read_pool(object, name);
    return property;
}

WatchedObject look_at(MoxHostModule* module, const std::string& name) {
    WatchedObject object;
    object.name = name;
    object.handle = lom_get_object_handle(name.c_str());
    if (object.handle == 0) throw WatchError("the owner does not hand out its object " + name);
    object.class_name = class_of(object.handle);
    if (is_hardware(object.class_name)) return object;
    Failure failure;
    const StringsPtr names = require(moxhost_list_properties(module, name.c_str(), failure.out()),
                                     "the properties of " + name, failure);
    for (gchar** property = names.get(); *property != nullptr; ++property) {
        object.properties.push_back(look_at(object.handle, *property));
    }
    return object;
}

}  // namespace

std::size_t WatchedModel::property_count() const {
    std::size_t count = 0;
    for (const WatchedObject& object : objects) count += object.properties.size();
    return count;
}

std::size_t WatchedModel::accessor_count() const {
    std::size_t count = 0;
    for (const WatchedObject& object : objects) {
        for (const WatchedProperty& property : object.properties)
            if (!property.accessor.empty()) ++count;
    }
    return count;
}

WatchedModel list_objects(MoxHostModule* module) {
    WatchedModel model;
    Failure failure;
    const StringsPtr names = require(moxhost_list_objects(module, nullptr, failure.out()),
                                     "the owner's objects", failure);
    for (gchar** name = names.get(); *name != nullptr; ++name) {
        WatchedObject object = look_at(module, *name);
        if (is_hardware(object.class_name)) {
            ++model.hardware_objects;
        } else {
            model.objects.push_back(std::move(object));
        }
    }
    if (model.objects.empty()) throw WatchError("the owner has no objects to show");
    return model;
}

VariantPtr read_pool(OBJ_HANDLE object, const std::string& property) {
    GVariant* value = nullptr;
    const gint32 code = lom_get_property_value(object, property.c_str(), FALSE, &value, FALSE);
    if (code != MOX_OK) {
        throw WatchError("cannot read " + property + " of " + lom_handle_to_name(object) +
                         " from the pool: code " + std::to_string(code));
    }
    return VariantPtr{value};
}

}  // namespace mox::examples
