// Bytes are copied, not shared: a shared part would be sunk, and freed, with the message.
#include "wire/value_copy.hpp"

#include <algorithm>

namespace mox::host::wire {

GVariant* copy_value(GVariant* value) {
    // The same value again when it is normal already, with one more reference that goes below.
    GVariant* const normal = g_variant_get_normal_form(value);
    const gsize size = g_variant_get_size(normal);
    gpointer bytes = g_malloc(std::max(size, gsize{1}));
    g_variant_store(normal, bytes);
    GVariant* const copy =
        g_variant_new_from_data(g_variant_get_type(normal), bytes, size, TRUE, g_free, bytes);
    g_variant_unref(normal);
    return copy;
}

}  // namespace mox::host::wire
