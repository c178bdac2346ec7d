// The physical objects behind a property: an accessor, its chip, the chips and the bus that the
// chip names, the chips that the bus names. All names are read from memory; a name that cannot be
// read leads nowhere. An object that is in the set already is not followed again, so links that
// lead back end the walk.
#include "lom/hardware_family.hpp"

#include <classnode.h>
#include <lom/hardware.h>
#include <lom/registry.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/glib_ptr.hpp"
#include "lom/object_ref.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/stored_bytes.hpp"

namespace mox {
namespace {

// Copies a text up to its end; stored bytes need not end with a terminator, nor be there at all.
void copy_name(gconstpointer bytes, gsize size, gchar (&name)[PUB_NAME_LENGTH]) {
    const auto* text = static_cast<const gchar*>(bytes);
    const gsize length = text == nullptr ? 0 : strnlen(text, std::min(size, sizeof(name) - 1));
    std::copy_n(text, length, name);
    name[length] = '\0';
}

// Copies a name where it lies. False when it is not the text of this very property.
bool is_copied_in_place(const SERIALISED_PROPERTY_S& property, gchar (&name)[PUB_NAME_LENGTH]) {
    if (property.type[0] != 's' || property.type[1] != '\0' || is_reference(property) ||
        is_half_written(property)) {
        return false;
    }
    copy_name(property.data, std::min(property.size, property.capacity), name);
    return true;
}

}  // namespace

gint32 read_name(OBJECT_HEAD_S& object, const gchar* property_name,
                 gchar (&name)[PUB_NAME_LENGTH]) {
    SERIALISED_PROPERTY_S* property = _get_property_node(&object, property_name);
    if (property == nullptr) {
        return MOX_ERR_PROPERTY_NOT_FOUND;
    }
    {
        const SemaphoreGuard semaphore(object);
        if (semaphore && is_copied_in_place(*property, name)) {
            return MOX_OK;
        }
    }
    TLV_S tlv = {};
    const gint32 result = read_property(object, *property, FALSE, tlv, FALSE);
    if (result != MOX_OK) {
        g_free(tlv.data);
        return result;
    }
    GVariant* floating = value_of_bytes(tlv.type, tlv.data, tlv.size);
    if (floating == nullptr) {
        return MOX_ERR_TYPE_NOT_SUPPORTED;
    }
    const VariantPtr value(g_variant_ref_sink(floating));
    if (!g_variant_is_of_type(floating, G_VARIANT_TYPE_STRING)) {
        return MOX_ERR_TYPE_MISMATCH;
    }
    copy_name(g_variant_get_data(floating), g_variant_get_size(floating), name);
    return MOX_OK;
}

gint32 read_name(OBJ_HANDLE object_handle, const gchar* property_name,
                 gchar (&name)[PUB_NAME_LENGTH]) {
    const ObjectRef object = find_local(object_handle);
    return object ? read_name(*object, property_name, name)
                  : static_cast<gint32>(MOX_ERR_OBJECT_NOT_FOUND);
}

}  // namespace mox

namespace {

// Adds an object to the set. Returns FALSE when it was there.
gboolean add_to_set(GHashTable* set, OBJ_HANDLE object) {
    gpointer entry = GINT_TO_POINTER(object);
    return g_hash_table_insert(set, entry, entry);
}

// Finds a named object and adds it. Null without a name, such an object, or when it was there.
mox::ObjectRef add_named(const gchar* name, GHashTable* set) {
    if (name[0] == '\0') {
        return nullptr;
    }
    mox::ObjectRef object = mox::find_anywhere(name);
    const bool is_new = object && add_to_set(set, lom_name_to_handle(object->object_name));
    return is_new ? std::move(object) : nullptr;
}

void add_chip(const gchar* name, GHashTable* set);

void add_named_chip(OBJECT_HEAD_S& object, const gchar* property_name, GHashTable* set) {
    gchar name[PUB_NAME_LENGTH];
    if (mox::read_name(object, property_name, name) == MOX_OK) {
        add_chip(name, set);
    }
}

void add_bus(const gchar* name, GHashTable* set) {
    if (const mox::ObjectRef bus = add_named(name, set)) {
        add_named_chip(*bus, "NodeBusy", set);
        add_named_chip(*bus, "PeerBusy", set);
    }
}

void add_chip(const gchar* name, GHashTable* set) {
    const mox::ObjectRef chip = add_named(name, set);
    if (!chip) {
        return;
    }
    add_named_chip(*chip, "PrevChip", set);
    add_named_chip(*chip, "ResetChip", set);
    gchar bus[PUB_NAME_LENGTH];
    if (mox::read_name(*chip, "LBus", bus) == MOX_OK) {
        add_bus(bus, set);
    }
}

void add_accessor(const gchar* name, GHashTable* set) {
    if (name == nullptr || name[0] == '\0') {
        return;
    }
    const mox::ObjectRef accessor = mox::find_anywhere(name);
    if (!accessor) {
        pub_debug_print(MX_DBG_ERR, "Accessor %s is not exist.\n", name);
        return;
    }
    if (add_to_set(set, lom_name_to_handle(accessor->object_name))) {
        add_named_chip(*accessor, "Chip", set);
    }
}

// A logical object brings itself and the accessors of its properties, in class order.
void add_logical(const OBJECT_HEAD_S& object, OBJ_HANDLE obj_handle, GHashTable* set) {
    add_to_set(set, obj_handle);
    for (const SERIALISED_PROPERTY_S* property = object.property_entry; property != nullptr;
         property = property->next_ptr) {
        add_accessor(property->accessor, set);
    }
}

void add_physical(const OBJECT_HEAD_S& object, GHashTable* set) {
    if (cls_name_is_type(object.class_name, "Accessor")) {
        add_accessor(object.object_name, set);
    } else if (cls_name_is_type(object.class_name, "Chip")) {
        add_chip(object.object_name, set);
    } else if (cls_name_is_type(object.class_name, "Bus")) {
        add_bus(object.object_name, set);
    }
}

}  // namespace

void lom_family_to_hash(OBJ_HANDLE obj_handle, GHashTable* object_hash) {
    if (obj_handle == 0 || object_hash == nullptr) {
        return;
    }
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return;
    }
    if (object->type == OBJECT_TYPE_LOGICAL) {
        add_logical(*object, obj_handle, object_hash);
    } else {
        add_physical(*object, object_hash);
    }
}
