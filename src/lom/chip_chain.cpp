// From a property to its chip, and along the chain of upstream chips to the bus at its head.
#include <lom/hardware.h>
#include <lom/property.h>
#include <lom/registry.h>
#include <pub.h>

#include <cstring>

#include "lom/hardware_family.hpp"

namespace {

// A chain of more chips than this leads back into itself.
constexpr gint kLongestChain = 1024;

// Walks upstream from the named chip to the one without a "PrevChip", whose name and handle it
// leaves.
gint32 walk_to_head(gchar (&chip_name)[PUB_NAME_LENGTH], OBJ_HANDLE* head) {
    for (gint step = 0; step < kLongestChain; ++step) {
        *head = lom_get_object_handle(chip_name);
        if (*head == 0) {
            return MOX_ERR_OBJECT_NOT_FOUND;
        }
        gchar upstream[PUB_NAME_LENGTH];
        const gint32 result = mox::read_name(*head, "PrevChip", upstream);
        if (result == MOX_ERR_PROPERTY_NOT_FOUND || (result == MOX_OK && upstream[0] == '\0')) {
            return MOX_OK;
        }
        if (result != MOX_OK) {
            return result;
        }
        std::memcpy(chip_name, upstream, sizeof(upstream));
    }
    return MOX_ERR_INTERNAL;
}

}  // namespace

gint32 lom_get_property_chip(OBJ_HANDLE object_handle, const gchar* property_name, gchar* chip_name,
                             gint32 length) {
    if (chip_name == nullptr || length < PUB_NAME_LENGTH) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    gchar accessor[PUB_NAME_LENGTH];
    gint32 result =
        lom_get_property_accessor(object_handle, property_name, accessor, PUB_NAME_LENGTH);
    if (result != MOX_OK) {
        return result;
    }
    const OBJ_HANDLE accessor_handle = lom_get_object_handle(accessor);
    if (accessor_handle == 0) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    gchar chip[PUB_NAME_LENGTH];
    result = mox::read_name(accessor_handle, "Chip", chip);
    if (result == MOX_OK) {
        g_strlcpy(chip_name, chip, PUB_NAME_LENGTH);
    }
    return result;
}

gint32 lom_get_host_bus(OBJ_HANDLE object_handle, const gchar* property_name, gchar* bus_name) {
    if (bus_name == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    gchar chip[PUB_NAME_LENGTH];
    gint32 result = lom_get_property_chip(object_handle, property_name, chip, PUB_NAME_LENGTH);
    if (result != MOX_OK) {
        return result;
    }
    OBJ_HANDLE head = 0;
    result = walk_to_head(chip, &head);
    if (result != MOX_OK) {
        return result;
    }
    gchar bus[PUB_NAME_LENGTH];
    result = mox::read_name(head, "LBus", bus);
    if (result == MOX_OK) {
        g_strlcpy(bus_name, bus, std::strlen(bus) + 1);
    }
    return result;
}
