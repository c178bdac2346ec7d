// What a live read leaves behind: a fresh value that differs from the stored one is stored and
// announced, so a live read of a writable object is also how a change of hardware is noticed. One
// hold of the semaphore covers the value and the caches of a formula's inputs, so that no two
// threads leave the result of one evaluation beside the inputs of another; the event comes after
// it.
#include <lom/event.h>
#include <lom/registry.h>

#include <algorithm>
#include <cstring>

#include "base/bounded_copy.hpp"
#include "base/glib_ptr.hpp"
#include "lom/object_table.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"
#include "lom/stored_bytes.hpp"

namespace mox {
namespace {

// Stores bytes of which as many count as the property's size says.
void store_fresh(SERIALISED_PROPERTY_S& property, const TLV_S& fresh) {
    if (fresh.size >= property.size && property.capacity >= property.size &&
        store_at_once(property, fresh.data, property.size)) {
        return;
    }
    const HalfWrittenMark mark(property);
    MOX_LOG_COPY(
        MOX_COPY_FAILED_TRAILING_BLANK, "lom",
        copy_what_fits(property.data, property.capacity, fresh.data, fresh.size, property.size));
}

// Stores the fresh bytes when they differ. Returns the value to announce, or null. Called with the
// semaphore held; the property's size stays as it is.
GVariant* store_if_new(SERIALISED_PROPERTY_S& property, const TLV_S& fresh) {
    const gsize size = property.size;
    // Bytes beyond the property's room were never stored, so they cannot tell the values apart.
    const gsize comparable = std::min({size, gsize{fresh.size}, property.capacity});
    if (fresh.data == nullptr || property.data == nullptr ||
        (fresh.size >= size && !is_half_written(property) &&
         std::memcmp(fresh.data, property.data, comparable) == 0)) {
        return nullptr;
    }
    if (is_half_written(property) && fresh.size < size) {
        return nullptr;  // its end would stay as the dead writer left it
    }
    store_fresh(property, fresh);
    set_state(property, kSynced);
    return value_in_place(property.type, fresh.data, std::min(size, gsize{fresh.size}));
}

// Remembers the inputs that a formula was evaluated with, up to the first that has no cache or does
// not fit it. Called with the semaphore held.
void refresh_caches(OBJECT_HEAD_S& object, const TLV_S (&inputs)[kExpressionInputs]) {
    for (gsize index = 0; index < kExpressionInputs; ++index) {
        SERIALISED_PROPERTY_S* cache =
            _get_property_node(&object, kFormulaInputs[index].cache_name);
        const TLV_S& input = inputs[index];
        if (cache == nullptr || input.data == nullptr) {
            return;
        }
        const HalfWrittenMark mark(*cache);
        const gint32 result =
            copy_what_fits(cache->data, cache->data == nullptr ? 0 : cache->capacity, input.data,
                           input.size, input.size);
        MOX_LOG_COPY(MOX_COPY_FAILED_TRAILING_BLANK, "lom", result);
        if (result != 0) {
            return;
        }
        publish(cache->size, gsize{input.size});
        for (gsize at = 0; at < PUB_TYPE_LENGTH; ++at) {
            publish(cache->type[at], input.type[at]);  // reads look for a marker before they lock
        }
    }
}

}  // namespace

gint32 write_back(OBJECT_HEAD_S& object, SERIALISED_PROPERTY_S& property, const TLV_S& fresh,
                  const TLV_S (&inputs)[kExpressionInputs], bool inputs_changed) {
    GVariant* changed = nullptr;
    {
        const SemaphoreGuard semaphore(object);
        if (!semaphore) {
            return MOX_ERR_SEMAPHORE;
        }
        changed = store_if_new(property, fresh);
        if (inputs_changed) {
            refresh_caches(object, inputs);
        }
    }
    if (changed != nullptr) {
        const VariantPtr value(g_variant_ref_sink(changed));
        lom_property_event(lom_name_to_handle(object.object_name), property.name, value.get(),
                           TRUE);
    }
    return MOX_OK;
}

}  // namespace mox
