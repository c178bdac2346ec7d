// Objects are built in the profile's order, but a mutex object before those that share its
// semaphore. The calls of the object model give no status: what they made is looked at instead, so
// that an exhausted pool is noticed where it ends.
#include "model/model_build.hpp"

#include <classnode.h>
#include <lom.h>
#include <shmem.h>

#include <unordered_map>
#include <vector>

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

CONST_TLV_S package(const PropertyValue& property) {
    CONST_TLV_S tlv = {};
    property.type.copy(tlv.type, sizeof tlv.type - 1);
    if (property.kind == PropertyKind::reference) {
        tlv.type[marker_byte] = PUB_REFERENCE_MARKER;
    }
    tlv.size = static_cast<guint32>(property.bytes.size());
    tlv.data = property.bytes.data();
    return tlv;
}

// False when the pool had no room for the value or the accessor's name.
bool fill_property(OBJECT_HEAD_S* record, guint32 at, const PropertyValue& property) {
    const CONST_TLV_S tlv = package(property);
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
    explicit ObjectBuilder(const std::vector<ObjectDef>& objects)
        : objects_(objects), is_built_(objects.size(), false) {
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
    static std::string make(const ObjectDef& object) {
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
        bool has_accessor = false;
        guint32 at = 0;
        for (const PropertyValue& property : object.properties) {
            has_accessor = has_accessor || !property.accessor.empty();
            if (!fill_property(record, at++, property)) {
                return exhausted("property", object.name + '.' + property.name);
            }
        }
        lom_mutex_object(record);
        publish(object, record, has_accessor ? OBJECT_READ_WRITE : OBJECT_READ_ONLY);
        return {};
    }

    // A writable object's live reads are written back and announced.
    static void publish(const ObjectDef& object, OBJECT_HEAD_S* record,
                        OBJECT_CAPABILITY capability) {
        const OBJ_HANDLE handle = lom_add_object(record);
        lom_set_module(handle, cls_get_module(cls_get_class(object.class_name.c_str())));
        lom_set_writable(handle, capability);
        cls_add_object(object.class_name.c_str(), handle);
        lom_ready_object(record);
    }

    const std::vector<ObjectDef>& objects_;
    std::vector<bool> is_built_;
    std::unordered_map<std::string, std::size_t> index_;
};

}  // namespace

MDL_HANDLE module_handle(const std::string& module_name) {
    return const_cast<gchar*>(g_intern_string(module_name.c_str()));
}

std::string build_model(const Profile& profile, const std::string& owner_name) {
    std::string cause = build_classes(profile.classes, owner_name);
    ObjectBuilder builder(profile.objects);
    for (std::size_t at = 0; at < profile.objects.size() && cause.empty(); ++at) {
        cause = builder.build(at);
    }
    return cause;
}

}  // namespace mox::host
