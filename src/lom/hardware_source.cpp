// The source of values that hardware delivers. A read-only view of a property that its owner keeps
// current does not ask the hardware again, and a value that is not there for now is read from
// memory.
#include <lom/hardware.h>
#include <lom/registry.h>

#include <cstring>

#include "base/bounded_copy.hpp"
#include "lom/hooks.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"

namespace {

constexpr gint32 kNotThereForNow = -2112;

// Asks the accessor, or the owner, for the whole fixed-size value.
gint32 fetch(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property, guint8* bytes,
             gboolean is_remote) {
    if (!is_remote) {
        return lom_block_read(lom_name_to_handle(object.object_name), property.name, 0, 0, bytes);
    }
    const RemoteGetPropertyFunc remote_get = g_remote_get_func;
    return remote_get == nullptr ? static_cast<gint32>(MOX_ERR_INTERNAL)
                                 : remote_get(object.object_name, property.name, 0, 0, bytes);
}

}  // namespace

gboolean _get_hardware_data(OBJECT_HEAD_S* object_head, SERIALISED_PROPERTY_S* property_node,
                            TLV_S* ptlv, gint32* retv, gboolean is_remote) {
    if (!mox::is_hardware_read(*object_head, *property_node)) {
        return FALSE;
    }
    alignas(8) guint8 bytes[LOM_DATA_HOLD_SIZE] = {};
    *retv = fetch(*object_head, *property_node, bytes, is_remote);
    if (*retv == kNotThereForNow) {
        *retv = MOX_OK;
        return FALSE;
    }
    if (*retv == MOX_OK) {
        const gsize size = mox::read_published(property_node->size);
        gpointer data = size > mox::kLargestValue ? nullptr : g_try_malloc0(size);
        if (data == nullptr && size != 0) {
            *retv = MOX_ERR_INTERNAL;  // a declared size beyond any value, or all memory
            return TRUE;
        }
        std::memcpy(ptlv->type, property_node->type, PUB_TYPE_LENGTH);
        ptlv->size = static_cast<guint32>(size);
        ptlv->data = data;
        MOX_LOG_COPY(MOX_COPY_FAILED_SPACED, "lom",
                     mox::copy_what_fits(ptlv->data, size, bytes, sizeof(bytes), size));
    }
    return TRUE;
}

namespace mox {

bool is_hardware_read(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property) {
    const bool is_kept_current = !is_writable(object) && has_state(property, kSynced);
    return !is_kept_current && has_state(property, kAccessRead) &&
           pub_str_type_check(property.type) == GVARIANT_FIX && has_accessor(property);
}

}  // namespace mox
