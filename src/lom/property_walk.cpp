// Walks over properties: every property of one object, and every property of this process whose
// hardware is to be refreshed. A walk holds a reference on its object and no lock; what it reads is
// a live read, with all that follows.
#include <lom/property.h>
#include <lom/registry.h>

#include "base/glib_ptr.hpp"
#include "lom/object_ref.hpp"
#include "lom/property_state.hpp"

// What lom_foreach_property hands to its step.
struct tag_property_traverse_data {
    OBJ_HANDLE obj_handle;
    PropertyForeachFunc handler;
    gpointer user_data;
};

namespace {

// Reads a property live; null when it cannot be read.
mox::VariantPtr read_live(OBJ_HANDLE obj_handle, const gchar* property_name) {
    GVariant* value = nullptr;
    if (lom_get_property_value(obj_handle, property_name, TRUE, &value, FALSE) != MOX_OK) {
        return nullptr;
    }
    // Sunk: a handler that puts the value into a container must not become its only holder.
    return mox::VariantPtr(g_variant_ref_sink(value));
}

void _hash_foreach_property(gpointer key, gpointer value, gpointer user_data) {
    const auto* name = static_cast<const gchar*>(key);
    const auto* local = static_cast<const LOCAL_PROPERTY_S*>(value);
    const auto* traverse = static_cast<const tag_property_traverse_data*>(user_data);
    if (name == nullptr || local == nullptr || traverse == nullptr) {
        return;
    }
    if (const mox::VariantPtr read = read_live(traverse->obj_handle, name)) {
        traverse->handler(traverse->obj_handle, name, read.get(), traverse->user_data);
    }
}

// Reads one property for the sake of its write-back.
void _foreach_property_read(gpointer key, gpointer value, gpointer user_data) {
    const auto* local = static_cast<const LOCAL_PROPERTY_S*>(value);
    const SERIALISED_PROPERTY_S* property = local == nullptr ? nullptr : local->property_ptr;
    if (property != nullptr && mox::has_accessor(*property) &&
        mox::has_state(*property, mox::kAccessRead | mox::kAccessSync)) {
        read_live(GPOINTER_TO_INT(user_data), static_cast<const gchar*>(key));
    }
}

void _batch_property_read(const gchar* class_name, OBJ_HANDLE obj_handle,
                          [[maybe_unused]] gpointer user_data) {
    if (class_name == nullptr || obj_handle == 0) {
        return;
    }
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (object && object->property_hash != nullptr) {
        g_hash_table_foreach(object->property_hash, _foreach_property_read,
                             GINT_TO_POINTER(obj_handle));
    }
}

}  // namespace

gint32 lom_foreach_property(OBJ_HANDLE obj_handle, PropertyForeachFunc handler,
                            gpointer user_data) {
    if (obj_handle == 0 || handler == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    if (object->property_hash != nullptr) {
        tag_property_traverse_data traverse{obj_handle, handler, user_data};
        g_hash_table_foreach(object->property_hash, _hash_foreach_property, &traverse);
    }
    return MOX_OK;
}

void lom_property_batch_read() {
    lom_foreach_object(_batch_property_read, nullptr);
}
