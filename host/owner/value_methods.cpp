// A module may have written what it may write itself. A reference is judged by what it leads to.
#include "owner/value_methods.hpp"

#include <lom.h>
#include <moxplat/persist.h>

#include <cstring>

#include "owner/writable_for_now.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

static_assert(static_cast<int>(PersistMode::none) == PER_MODE_NOSUPPORT &&
              static_cast<int>(PersistMode::power_off) == PER_MODE_POWER_OFF &&
              static_cast<int>(PersistMode::reset) == PER_MODE_RESET &&
              static_cast<int>(PersistMode::permanent) == PER_MODE_PERMANENT);

// Also the hook of this process, which may write everything.
gint32 store_larger(const gchar* object, const gchar* property, GVariant* value) {
    GVariant* const normal = g_variant_get_normal_form(value);
    const gint32 result = lom_realloc_property(object, property, g_variant_get_type_string(normal),
                                               static_cast<guint32>(g_variant_get_size(normal)),
                                               g_variant_get_data(normal));
    g_variant_unref(normal);
    return result;
}

}  // namespace

void install_own_modify() {
    lom_set_modify_func(store_larger);
}

GVariant* ValueMethods::answer(const JoinedModule& module, const std::string& method,
                               GVariant* arguments) const {
    if (method == "RemoteSet") return status_value(remote_set(module, arguments));
    if (method == "Apply") return status_value(apply(module, arguments));
    if (method == "PersistMode") return status_value(persist_mode(arguments));
    return nullptr;
}

gint32 ValueMethods::remote_set(const JoinedModule& module, GVariant* arguments) const {
    const ObjectDef* const object = model_.find_object(string_at(arguments, 0));
    if (object == nullptr) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    if (!access_.may(module, "RemoteSet", Access::write, *object)) {
        return MOX_ERR_NOT_PERMITTED;
    }
    const PropertyValue* const property = find_property(*object, string_at(arguments, 1));
    if (property == nullptr) {
        return MOX_ERR_PROPERTY_NOT_FOUND;
    }
    const ValuePtr value = value_at(arguments, 2);
    // What a reference names is written at its target, so its own text never comes here.
    if (property->kind == PropertyKind::reference ||
        std::strcmp(g_variant_get_type_string(value.get()), property->type.c_str()) != 0) {
        return MOX_ERR_TYPE_MISMATCH;
    }
    if (g_variant_get_size(value.get()) > wire::max_remote_bytes) {
        return MOX_ERR_MESSAGE_TOO_BIG;
    }
    return store_larger(object->name.c_str(), property->name.c_str(), value.get());
}

gint32 ValueMethods::apply(const JoinedModule& module, GVariant* arguments) const {
    const ObjectDef* const object = model_.find_object(string_at(arguments, 0));
    if (object == nullptr) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    const PropertyPlace target = model_.follow(object->name, string_at(arguments, 1));
    if (target.property == nullptr) {
        return MOX_ERR_PROPERTY_NOT_FOUND;
    }
    if (!access_.may(module, "Apply", Access::write, *target.object)) {
        return MOX_ERR_NOT_PERMITTED;
    }
    const ValuePtr value = value_at(arguments, 2);
    if (g_variant_get_size(value.get()) > wire::max_remote_bytes) {
        return MOX_ERR_MESSAGE_TOO_BIG;
    }
    const WritableForNow writable(target.object->name);
    return lom_apply_property_value(writable.handle(), target.property->name.c_str(), value.get(),
                                    static_cast<PER_MODE_E>(target.property->persist),
                                    APPLY_AUTO_MODE, FALSE);
}

gint32 ValueMethods::persist_mode(GVariant* arguments) const {
    const std::string object = string_at(arguments, 0);
    const std::string property = string_at(arguments, 1);
    const PropertyPlace target = model_.follow(object, property);
    if (target.property == nullptr) {
        refuse(wire::error_not_found, "there is no property \"" + object + '.' + property + '"');
    }
    return static_cast<gint32>(target.property->persist);
}

}  // namespace mox::host
