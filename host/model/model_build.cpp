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
#include <vector>

#include "model/saved_state.hpp"

namespace mox::host {
namespace {

constexpr std::size_t marker_byte = 3;

std::string exhausted(const char* what, const std::string& name) {
    return std::string("the pool has no room for ") + what + " \"" + name +
           "\"; set " SHM_SIZE_VARIABLE " to a larger number of MiB, up to 32";
}

const std::string& module_of(const ClassDef& entry, const std::string& owner_name) {
    return entry.module.empty() ? owner_name : entry.module;
}

std::string build_classes(const std::vector<ClassDef>& classes, const std::string& owner_name) {
    CLS_HANDLE previous = nullptr;
    for (const ClassDef& entry : classes) {
        CLS_HANDLE handle = cls_create_class(entry.name.c_str());
        if (handle == nullptr || cls_get_class_name(handle) == nullptr) {
            return exhausted("class", entry.name);
        }
        cls_set_next(previous, handle);
        cls_set_module(handle, module_handle(module_of(entry, owner_name)));
        previous = handle;
    }
    for (const ClassDef& entry : classes) {
        cls_set_parent(cls_get_class(entry.name.c_str()), cls_get_class(entry.parent.c_str()));
    }
    return {};
}

// bytes: outlive the package.
CONST_TLV_S package(const PropertyValue& property, const std::string& bytes) {
    CONST_TLV_S tlv = {};
    property.type.copy(tlv.type, sizeof tlv.type - 1);
    if (property.kind == PropertyKind::reference) {
        tlv.type[marker_byte] = PUB_REFERENCE_MARKER;
    }
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
    ObjectBuilder(const std::vector<ObjectDef>& objects, const std::string& owner_name, Saved saved)
        : objects_(objects),
          owner_name_(owner_name),
          saved_(saved),
          is_built_(objects.size(), false) {
        for (std::size_t at = 0; at < objects.size(); ++at) {
            index_.emplace(objects[at].name, at);
        }
    }

    // Builds one object, its mutex object first; a mutex object has none itself.
    std::string build(std::size_t at) {
        const ObjectDef& object = objects_[at];
        if (is_built_[at]) {
            return {};
        }
        if (!object.mutex_object.empty()) {
            std::string cause = build(index_.at(object.mutex_object));
            if (!cause.empty()) {
                return cause;
            }
        }
        is_built_[at] = true;
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
        if (record->semid < 0) {
            return "no semaphore for object \"" + object.name +
                   "\": the system's shared-memory segments are used up (kernel.shmmni, "
                   "kernel.shmall)";
        }
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
        lom_mutex_object(record);
        publish(object, record);
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

    const std::vector<ObjectDef>& objects_;
    const std::string& owner_name_;
    Saved saved_;
    std::vector<bool> is_built_;
    std::unordered_map<std::string, std::size_t> index_;
};

}  // namespace

MDL_HANDLE module_handle(const std::string& module_name) {
    return const_cast<gchar*>(g_intern_string(module_name.c_str()));
}

bool is_owned_by(const ObjectDef& object, const std::string& module_name) {
    return cls_get_module(cls_get_class(object.class_name.c_str())) == module_handle(module_name);
}

std::string build_model(const Profile& profile, const std::string& owner_name, Saved saved) {
    std::string cause = build_classes(profile.classes, owner_name);
    ObjectBuilder builder(profile.objects, owner_name, saved);
    for (std::size_t at = 0; at < profile.objects.size() && cause.empty(); ++at) {
        cause = builder.build(at);
    }
    return cause;
}

}  // namespace mox::host
