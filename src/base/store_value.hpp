// A typed value's bytes into place. The value is brought into serialized form in memory of its own
// first: storing straight into a record would demand the alignment of the type there, which the
// packed wire records do not have.
#ifndef MOX_BASE_STORE_VALUE_HPP
#define MOX_BASE_STORE_VALUE_HPP

#include <glib.h>

#include <cstring>

namespace mox {

// dest: room for g_variant_get_size(value) bytes.
inline void store_value(GVariant* value, gpointer dest) {
    const gsize size = g_variant_get_size(value);
    gconstpointer bytes = g_variant_get_data(value);
    if (size > 0 && bytes != nullptr) {
        std::memcpy(dest, bytes, size);
    }
}

}  // namespace mox

#endif
