// Objects are built in the profile's order, but a mutex object before those that share its
// semaphore. The calls of the object model give no status: what they made is looked at instead, so
// that an exhausted pool is noticed where it ends.
#include "model/model_build.hpp"

#include <classnode.h>
#include <lom.h>
#include <shmem.h>

#include <algorithm>
#include <optional>
#include <unordered_map>

#include "model/saved_state.hpp"
#include "model/schema_build.hpp"
#include "model/type_field.hpp"

namespace mox::host {
namespace {

std::string exhausted(const char* what, const std::string& name) {
    return std::string("the pool has no room for ") + what + " \"" + name +
           "\"; set " SHM_SIZE_VARIABLE " to a larger number of MiB, up to 32";
}

const std::string& module_of(const ClassDef& entry, const std::string& owner_name) {
    return entry.module.empty() ? owner_name : entry.module;
}

std::string build_classes(const std::vector<ClassDef>& classes, const std::string& owner_name) {
    const std::string without_room = build_schema(classes);
    if (!without_room.empty()) {
        return exhausted("class", without_room);
    }
    for (const ClassDef& entry : classes) {
        cls_set_module(cls_get_class(entry.name.c_str()),
                       module_handle(module_of(entry, owner_name)));
    }
    return {};
}

// bytes: outlive the package.
CONST_TLV_S package(const PropertyValue& property, const std::string& bytes) {
    CONST_TLV_S tlv = {};
    const TypeField type = type_field(property.type, property.kind);
    std::copy(type.begin(), type.end(), tlv.type);
    tlv.size = static_cast<guint32>(bytes.size());
    tlv.data = bytes.data();
    return tlv;
}

// False when the pool had no room for the value or the accessor's name.
bool fill_property(OBJECT_HEAD_S* record, guint32 at, const PropertyValue& property,
                   const std::string& bytes) {
    const CONST_TLV_S tlv = package(property, bytes);
    lom_init_property(record, at, property.name.c_str(), &tlv, property.mode.c_str());
    if (!property.accessor.empty()) {
        lom_init_accessor(record, at, property.accessor.c_str(),
                          static_cast<guint32>(property.accessor.size()));
    }
    const SERIALISED_PROPERTY_S& made = record->property_entry[at];
    return made.data != nullptr && (property.accessor.empty() || made.accessor != nullptr);
}

class ObjectBuilder {
public:
    ObjectBuilder(const std::vector<const ObjectDef*>& objects, const std::string& owner_name,
                  Saved saved)
        : owner_name_(owner_name), saved_(saved) {
        for (const ObjectDef* const object : objects) {
            waiting_.emplace(object->name, object);
        }
    }

    // Builds one object, its mutex object first; a mutex object has none itself, and may be there
    // already.
    std::string build(const std::string& name) {
        const auto found = waiting_.find(name);
        if (found == waiting_.end()) {
            return {};
        }
        const ObjectDef& object = *found->second;
        std::string cause = build(object.mutex_object);
        if (!cause.empty()) {
            return cause;
        }
        waiting_.erase(name);
        return make(object);
    }

private:
    std::string make(const ObjectDef& object) const {
        const bool is_physical = object.kind == ObjectKind::physical;
        auto* const record = static_cast<OBJECT_HEAD_S*>(lom_create_object_embryo(
            static_cast<guint32>(object.properties.size()), object.name.c_str(),
            object.class_name.c_str(), object.mutex_object.c_str(),
            is_physical ? "Physical" : "Logical", object.position));
        if (record == nullptr) {
            return exhausted("object", object.name);
        }
        std::string cause = fill(object, record);
        if (cause.empty()) {
            publish(object, record);
        } else {
            // In the table what is half built can be removed with its position.
            lom_add_object(record);
        }
        return cause;
    }

    std::string fill(const ObjectDef& object, OBJECT_HEAD_S* record) const {
        if (record->semid < 0) {
            return "no semaphore for object \"" + object.name +
                   "\": the system's shared-memory segments are used up (kernel.shmmni, "
                   "kernel.shmall)";
        }
        lom_mutex_object(record);
        guint32 at = 0;
        for (const PropertyValue& property : object.properties) {
            std::optional<std::string> bytes;
            if (saved_ == Saved::restore) {
                bytes = saved_value(object, property);
            }
            if (!fill_property(record, at++, property, bytes.value_or(property.bytes))) {
                return exhausted("property", object.name + '.' + property.name);
            }
        }
        return {};
    }

    // A writable object's live reads are written back and announced.
    OBJECT_CAPABILITY capability_of(const ObjectDef& object) const {
        const bool is_own = is_owned_by(object, owner_name_);
        const bool is_writable = std::any_of(
            object.properties.begin(), object.properties.end(), [is_own](const PropertyValue& at) {
                return !at.accessor.empty() || (is_own && at.persist != PersistMode::none);
            });
        return is_writable ? OBJECT_READ_WRITE : OBJECT_READ_ONLY;
    }

    void publish(const ObjectDef& object, OBJECT_HEAD_S* record) const {
        const OBJ_HANDLE handle = lom_add_object(record);
        lom_set_module(handle, cls_get_module(cls_get_class(object.class_name.c_str())));
        lom_set_writable(handle, capability_of(object));
        cls_add_object(object.class_name.c_str(), handle);
        if (saved_ == Saved::restore) {
            take_saved_states(object);
        }
        lom_ready_object(record);
    }

    const std::string& owner_name_;
    Saved saved_;
    std::unordered_map<std::string, const ObjectDef*> waiting_;  // by name; not built yet
};

}  // namespace

MDL_HANDLE module_handle(const std::string& module_name) {
    return const_cast<gchar*>(g_intern_string(module_name.c_str()));
}

bool is_owned_by(const ObjectDef& object, const std::string& module_name) {
    return cls_get_module(cls_get_class(object.class_name.c_str())) == module_handle(module_name);
}

std::string build_objects(const std::vector<const ObjectDef*>& objects,
                          const std::string& owner_name, Saved saved) {
    ObjectBuilder builder(objects, owner_name, saved);
    std::string cause;
    for (auto object = objects.begin(); object != objects.end() && cause.empty(); ++object) {
        cause = builder.build((*object)->name);
    }
    return cause;
}

std::string build_model(const ModelIndex& model, const std::string& owner_name, Saved saved) {
    std::string cause = build_classes(model.profile().classes, owner_name);
    return cause.empty() ? build_objects(model.objects_of(""), owner_name, saved) : cause;
}

}  // namespace mox::host
