// The physical objects behind a property: an accessor, its chip, the chips and the bus that the
// chip names, the chips that the bus names. All names are read from memory; a name that cannot be
// read leads nowhere. An object that is in the set already is not followed again, so links that
// lead back end the walk.
#include "lom/hardware_family.hpp"

#include <classnode.h>
#include <lom/hardware.h>
#include <lom/property.h>

#include <algorithm>
#include <cstring>

#include "base/glib_ptr.hpp"
#include "lom/object_ref.hpp"
#include "lom/property_state.hpp"

namespace mox {

gint32 read_name(OBJ_HANDLE object, const gchar* property_name, gchar (&name)[PUB_NAME_LENGTH]) {
    GVariant* read = nullptr;
    const gint32 result = lom_get_property_value(object, property_name, FALSE, &read, FALSE);
    const VariantPtr value(read);
    if (result != MOX_OK) {
        return result;
    }
    if (!g_variant_is_of_type(read, G_VARIANT_TYPE_STRING)) {
        return MOX_ERR_TYPE_MISMATCH;
    }
    // Stored bytes need not end with a terminator, nor be there at all.
    const auto* text = static_cast<const gchar*>(g_variant_get_data(read));
    const gsize room = std::min<gsize>(g_variant_get_size(read), sizeof(name) - 1);
    const gsize length = text == nullptr ? 0 : strnlen(text, room);
    std::copy_n(text, length, name);
    name[length] = '\0';
    return MOX_OK;
}

}  // namespace mox

namespace {

// Adds an object to the set. Returns FALSE when it was there.
gboolean add_to_set(GHashTable* set, OBJ_HANDLE object) {
    gpointer entry = GINT_TO_POINTER(object);
    return g_hash_table_insert(set, entry, entry);
}

void add_chip(const gchar* name, GHashTable* set);

void add_named_chip(OBJ_HANDLE object, const gchar* property_name, GHashTable* set) {
    gchar name[PUB_NAME_LENGTH];
    if (mox::read_name(object, property_name, name) == MOX_OK) {
        add_chip(name, set);
    }
}

void add_bus(const gchar* name, GHashTable* set) {
    const OBJ_HANDLE bus = name[0] == '\0' ? 0 : lom_get_object_handle(name);
    if (bus != 0 && add_to_set(set, bus)) {
        add_named_chip(bus, "NodeBusy", set);
        add_named_chip(bus, "PeerBusy", set);
    }
}

void add_chip(const gchar* name, GHashTable* set) {
    const OBJ_HANDLE chip = name[0] == '\0' ? 0 : lom_get_object_handle(name);
    if (chip == 0 || !add_to_set(set, chip)) {
        return;
    }
    add_named_chip(chip, "PrevChip", set);
    add_named_chip(chip, "ResetChip", set);
    gchar bus[PUB_NAME_LENGTH];
    if (mox::read_name(chip, "LBus", bus) == MOX_OK) {
        add_bus(bus, set);
    }
}

void add_accessor(const gchar* name, GHashTable* set) {
    if (name == nullptr || name[0] == '\0') {
        return;
    }
    const OBJ_HANDLE accessor = lom_get_object_handle(name);
    if (accessor == 0) {
        pub_debug_print(MX_DBG_ERR, "Accessor %s is not exist.\n", name);
        return;
    }
    if (add_to_set(set, accessor)) {
        add_named_chip(accessor, "Chip", set);
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
