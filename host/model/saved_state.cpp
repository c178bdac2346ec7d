// The store knows a property by its name without "d:" and a flag; its save state by the whole name.
#include "model/saved_state.hpp"

#include <lom.h>
#include <lom/persist.h>
#include <moxplat/persist_store.h>
#include <pub.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace mox::host {
namespace {

constexpr std::string_view prefix = "d:";

struct StoredName {
    const char* name;
    gboolean has_prefix;
};

StoredName stored_name(const std::string& property) {
    const bool has_prefix = property.rfind(prefix, 0) == 0;
    return {property.c_str() + (has_prefix ? prefix.size() : 0), has_prefix ? TRUE : FALSE};
}

std::string persisted_type(const PropertyValue& property) {
    gchar type[PUB_TYPE_LENGTH] = {};
    gchar persisted[PUB_TYPE_LENGTH] = {};
    property.type.copy(type, sizeof type - 1);
    pub_serialize_type(type, persisted, PUB_TYPE_LENGTH);
    return persisted;
}

// Whether bytes are a value of the type as the object model stores it, and no other bytes mean the
// same.
bool is_normal(const std::string& type, gconstpointer data, guint32 size) {
    // A copy of its own: the heap aligns it for any type.
    gpointer copy = g_malloc(std::max(size, guint32{1}));
    if (size > 0) {
        std::memcpy(copy, data, size);
    }
    GVariant* const value = g_variant_ref_sink(
        g_variant_new_from_data(G_VARIANT_TYPE(type.c_str()), copy, size, FALSE, g_free, copy));
    const bool is_good = g_variant_is_normal_form(value) != FALSE;
    g_variant_unref(value);
    return is_good;
}

void report(const ObjectDef& object, const PropertyValue& property, const std::string& cause) {
    pub_debug_print(MX_DBG_ERR, "saved value of %s.%s not taken: %s.\n", object.name.c_str(),
                    property.name.c_str(), cause.c_str());
}

bool is_nothing_saved(gint32 status) {
    return status == PER_ERROR_CFG_ITEM_NOT_INITED;
}

// What is wrong with a value that the store delivered; "" for a good one.
std::string fault_of(const PropertyValue& property, const CFG_READ_S& read) {
    const std::string wanted = persisted_type(property);
    if (g_strcmp0(read.type, wanted.c_str()) != 0) {
        return std::string("its type is \"") + (read.type == nullptr ? "" : read.type) +
               "\", the property's is \"" + wanted + '"';
    }
    if ((read.size > 0 && read.data_out == nullptr) ||
        !is_normal(property.type, read.data_out, read.size)) {
        return "its bytes are no value of its type";
    }
    return {};
}

}  // namespace

std::optional<PER_MODE_E> newest_mode(const ObjectDef& object, const PropertyValue& property) {
    if (property.kind == PropertyKind::reference) {
        return std::nullopt;
    }
    const StoredName stored = stored_name(property.name);
    PER_MODE_E mode = PER_MODE_NOSUPPORT;
    const gint32 status =
        cfg_newest_mode(object.name.c_str(), stored.name, stored.has_prefix, &mode);
    if (status != PER_OK && !is_nothing_saved(status)) {
        report(object, property, cfg_error_text(status));
    }
    return status == PER_OK ? std::optional(mode) : std::nullopt;
}

std::optional<std::string> saved_value(const ObjectDef& object, const PropertyValue& property,
                                       PER_MODE_E mode) {
    const StoredName stored = stored_name(property.name);
    CFG_READ_S read = {};
    const gint32 status =
        cfg_read_v2(object.name.c_str(), stored.name, &read, stored.has_prefix, mode);
    if (status != PER_OK) {
        if (!is_nothing_saved(status)) {
            report(object, property, cfg_error_text(status));
        }
        return std::nullopt;
    }
    const std::string fault = fault_of(property, read);
    std::optional<std::string> bytes;
    if (!fault.empty()) {
        report(object, property, fault);
    } else if (read.size > 0) {
        bytes.emplace(static_cast<const char*>(read.data_out), read.size);
    } else {
        bytes.emplace();
    }
    cfg_read_free(&read);
    return bytes;
}

std::optional<std::string> saved_value(const ObjectDef& object, const PropertyValue& property) {
    const std::optional<PER_MODE_E> mode = newest_mode(object, property);
    return mode ? saved_value(object, property, *mode) : std::nullopt;
}

void take_saved_states(const ObjectDef& object) {
    // Told at the start already; what was recorded is not known, so the properties stay as they
    // are.
    const gint32 opened = cfg_store_opened(PER_MODE_PERMANENT);
    if (opened != PER_OK && opened != PER_ERROR_DATA_INVALID) {
        return;
    }
    for (const PropertyValue& property : object.properties) {
        guint32 state = 0;
        const gint32 status = cfg_status_read(object.name.c_str(), property.name.c_str(), &state);
        if (status != PER_OK) {
            state = 0;
            if (!is_nothing_saved(status)) {
                report(object, property, cfg_error_text(status));
            }
        }
        const gint32 result =
            lom_reset_property_status(object.name.c_str(), property.name.c_str(), state);
        if (result != MOX_OK) {
            pub_debug_print(MX_DBG_ERR, "save state of %s.%s not taken: code %d.\n",
                            object.name.c_str(), property.name.c_str(), result);
        }
    }
}

}  // namespace mox::host
