// Which properties lose their value is noted before the store forgets it.
#include "owner/restore_defaults.hpp"

#include <lom.h>
#include <moxplat/persist_store.h>
#include <pub.h>

#include <cstring>
#include <vector>

#include "model/saved_state.hpp"
#include "owner/writable_for_now.hpp"
#include "wire/status_text.hpp"

namespace mox::host {
namespace {

// A property that may lose its newest saved value.
struct Losing {
    PropertyPlace place;
    PER_MODE_E mode;
};

std::vector<Losing> losing_properties(const ModelIndex& model) {
    std::vector<Losing> result;
    for (const ObjectDef* const object : model.objects_of("")) {
        for (const PropertyValue& property : object->properties) {
            const std::optional<PER_MODE_E> mode = newest_mode(*object, property);
            if (mode && *mode != PER_MODE_PERMANENT) {
                result.push_back({{object, &property}, *mode});
            }
        }
    }
    return result;
}

GVariant* value_of(const std::string& type, const std::string& bytes) {
    gpointer copy = g_malloc(bytes.size() + 1);
    std::memcpy(copy, bytes.data(), bytes.size());
    return g_variant_ref_sink(g_variant_new_from_data(G_VARIANT_TYPE(type.c_str()), copy,
                                                      bytes.size(), FALSE, g_free, copy));
}

std::string bytes_left(const PropertyPlace& place, std::optional<PER_MODE_E> left) {
    return (left ? saved_value(*place.object, *place.property, *left) : std::nullopt)
        .value_or(place.property->bytes);
}

// Writes the value that is left in the store, else the profile's.
void write_what_is_left(const PropertyPlace& place, std::optional<PER_MODE_E> left) {
    GVariant* const value = value_of(place.property->type, bytes_left(place, left));
    const WritableForNow writable(place.object->name);
    const gint32 result = lom_set_property_value(writable.handle(), place.property->name.c_str(),
                                                 value, PER_MODE_NOSUPPORT, FALSE);
    g_variant_unref(value);
    if (result != MOX_OK) {
        pub_debug_print(MX_DBG_ERR, "default of %s.%s not restored: %s.\n",
                        place.object->name.c_str(), place.property->name.c_str(),
                        wire::status_text(result).c_str());
    }
}

}  // namespace

gint32 restore_defaults(const ModelIndex& model) {
    const std::vector<Losing> losing = losing_properties(model);
    const gint32 status = cfg_store_restore_defaults();
    // Half of it done: the model follows what the store still holds.
    if (status != PER_OK && status != PER_ERROR_CLEAR_CFG_FLAG) {
        return status;
    }
    for (const Losing& one : losing) {
        const std::optional<PER_MODE_E> left = newest_mode(*one.place.object, *one.place.property);
        if (left != one.mode) {
            write_what_is_left(one.place, left);
        }
    }
    for (const ObjectDef* const object : model.objects_of("")) {
        take_saved_states(*object);
    }
    return status;
}

ValueLeft value_left(const PropertyPlace& place) {
    std::string bytes = bytes_left(place, newest_mode(*place.object, *place.property));
    GVariant* const value = value_of(place.property->type, bytes);
    return {std::move(bytes), std::unique_ptr<GVariant, UnrefValue>(value)};
}

}  // namespace mox::host
