// The exported reads: as a typed value, into a caller's buffer, as type and bytes; and the
// questions about a property.
#include <lom/property.h>

#include <algorithm>
#include <cstring>

#include "base/bounded_copy.hpp"
#include "base/glib_ptr.hpp"
#include "lom/object_ref.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/stored_bytes.hpp"

gint32 lom_get_property_data(OBJ_HANDLE object_handle, const gchar* property_name,
                             gboolean is_volatile, TLV_S* ptlv, gboolean is_remote) {
    if (object_handle == 0 || property_name == nullptr || ptlv == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    *ptlv = {};
    const mox::ObjectRef object = mox::find_local(object_handle);
    return object
               ? _get_property_raw_data(object.get(), property_name, is_volatile, ptlv, is_remote)
               : MOX_ERR_OBJECT_NOT_FOUND;
}

gint32 lom_get_property_value(OBJ_HANDLE obj_handle, const gchar* property_name,
                              gboolean is_volatile, GVariant** property_value, gboolean is_remote) {
    if (property_value == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    TLV_S tlv = {};
    const gint32 result =
        lom_get_property_data(obj_handle, property_name, is_volatile, &tlv, is_remote);
    if (result != MOX_OK) {
        g_free(tlv.data);
        return result;
    }
    GVariant* value = mox::value_of_bytes(tlv.type, tlv.data, tlv.size);
    if (value == nullptr) {
        return MOX_ERR_TYPE_NOT_SUPPORTED;
    }
    *property_value = value;
    return MOX_OK;
}

namespace {

// Reads into the caller's bytes as many of the value's as fit. size: receives the whole size.
gint32 read_into(OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property, gboolean is_volatile,
                 guchar* out, guint32 room, guint32& size, gboolean is_remote) {
    if (mox::is_answered_from_memory(property, is_volatile)) {
        const mox::SemaphoreGuard semaphore(object);
        if (!semaphore) {
            return MOX_ERR_SEMAPHORE;
        }
        if (mox::is_half_written(property)) {
            return MOX_ERR_INTERNAL;
        }
        size = static_cast<guint32>(mox::copy_stored_into(property, out, room));
        return MOX_OK;
    }
    TLV_S tlv = {};
    const gint32 result = mox::read_property(object, property, is_volatile, tlv, is_remote);
    const mox::GPtr<void> data(tlv.data);
    if (result == MOX_OK) {
        size = tlv.size;
        const guint32 fitting = std::min(room, size);
        if (fitting > 0) {
            MOX_LOG_COPY(MOX_COPY_FAILED_TRAILING_BLANK, "lom",
                         memmove_s(out, room, tlv.data, fitting));
        }
    }
    return result;
}

}  // namespace

// A value that does not fit is cut and terminated, and told of in the log only: text read into a
// fixed buffer stays terminated, and callers rely on the success.
gint32 lom_get_property_value_v2(OBJ_HANDLE obj_handle, const gchar* property_name,
                                 gboolean is_volatile, guint32 value_len, guchar* out_val,
                                 gboolean is_remote) {
    if (obj_handle == 0 || property_name == nullptr || out_val == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    SERIALISED_PROPERTY_S* property = _get_property_node(object.get(), property_name);
    if (property == nullptr) {
        return MOX_ERR_PROPERTY_NOT_FOUND;
    }
    guint32 size = 0;
    const gint32 result =
        read_into(*object, *property, is_volatile, out_val, value_len, size, is_remote);
    if (result == MOX_OK && size > value_len) {
        pub_debug_print(MX_DBG_ERR, "property %s size error, %d != %d.\n", property_name,
                        static_cast<gint>(size), static_cast<gint>(value_len));
        if (value_len > 0) {
            out_val[value_len - 1] = 0;
        }
        pub_debug_print(MX_DBG_ERR, "property %s size error, %d > %d.\n", property_name,
                        static_cast<gint>(size), static_cast<gint>(value_len));
    }
    return result;
}

gint32 lom_get_property_memory_data(OBJ_HANDLE object_handle, const gchar* property_name,
                                    TLV_S* ptlv) {
    if (object_handle == 0 || property_name == nullptr || ptlv == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    *ptlv = {};
    const mox::ObjectRef object = mox::find_local(object_handle);
    return object ? _get_property_memory_data(object.get(), property_name, ptlv)
                  : MOX_ERR_OBJECT_NOT_FOUND;
}

gint32 lom_get_property_type(OBJ_HANDLE object_handle, const gchar* property_name, gchar* type,
                             gint32 length) {
    if (object_handle == 0 || property_name == nullptr || type == nullptr ||
        length != PUB_TYPE_LENGTH) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(object_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    SERIALISED_PROPERTY_S* property = nullptr;
    const gint32 result = mox::find_property(*object, property_name, &property);
    if (result == MOX_OK) {
        std::memcpy(type, property->type, PUB_TYPE_LENGTH);
    }
    return result;
}

gint32 lom_get_property_change_cnt(OBJ_HANDLE object_handle, const gchar* property_name,
                                   gboolean send) {
    if (object_handle == 0 || property_name == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(object_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    const LOCAL_PROPERTY_S* local = mox::find_entry(*object, property_name);
    if (local == nullptr) {
        return MOX_ERR_PROPERTY_NOT_FOUND;
    }
    return static_cast<gint32>(mox::read_published(send ? local->change_cnt : local->receive_cnt));
}

gboolean lom_is_writable(OBJ_HANDLE obj_handle) {
    const mox::ObjectRef object = mox::find_local(obj_handle);
    return object && mox::is_writable(*object);
}
