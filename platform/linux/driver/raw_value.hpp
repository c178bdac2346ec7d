// Values that lie in a file as bytes: a number of 1, 2, 4 or 8 bytes in the chip's byte order.
#ifndef MOXPLAT_LINUX_DRIVER_RAW_VALUE_HPP
#define MOXPLAT_LINUX_DRIVER_RAW_VALUE_HPP

#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <optional>

#include "value_type.hpp"

namespace mox::driver {

struct RawPlace {
    std::int64_t offset = 0;   // of the value in the file, bytes
    std::size_t width = 0;     // bytes of the value in the file: 1, 2, 4 or 8, at most the type's
    bool is_reversed = false;  // the chip's byte order is not this machine's
    std::optional<ValueType> type;  // none: `width` bytes, only their order is changed

    // Bytes of the value as it is delivered.
    std::size_t value_size() const { return type ? size_of(*type) : width; }
};

// Reads the value into `out`, or `length` bytes at `offset` from the value's place on when length
// is not 0.
gint32 read_raw(const char* path, const RawPlace& place, gint32 offset, gsize length, gpointer out);

// Writes the value when offset is 0 and length is value_size(), otherwise the bytes as they are.
gint32 write_raw(const char* path, const RawPlace& place, gint32 offset, gsize length,
                 gconstpointer in);

}  // namespace mox::driver

#endif
