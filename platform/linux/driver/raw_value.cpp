// What holds here: narrow numbers are widened by the sign of the delivered type, and a number that
// would lose digits on its way into a narrower place is refused, not cut.
#include "raw_value.hpp"

#include <moxplat/driver.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "device_file.hpp"

namespace mox::driver {
namespace {

void reverse_if(bool is_reversed, std::uint8_t* bytes, std::size_t count) {
    if (is_reversed) {
        std::reverse(bytes, bytes + count);
    }
}

// The place of the least significant `width` bytes in a number of 8 bytes.
std::size_t low_end(std::size_t width) {
    return std::endian::native == std::endian::little ? 0 : longest_value - width;
}

// The number in `width` bytes of this machine's byte order.
std::int64_t widen(const std::uint8_t* bytes, std::size_t width, bool is_signed_type) {
    std::uint64_t number = 0;
    std::memcpy(reinterpret_cast<std::uint8_t*>(&number) + low_end(width), bytes, width);
    const unsigned unused_bits = static_cast<unsigned>(longest_value - width) * 8;
    if (is_signed_type) {
        return static_cast<std::int64_t>(number << unused_bits) >> unused_bits;
    }
    return static_cast<std::int64_t>(number);
}

bool is_converted(const RawPlace& place) {
    return place.type && *place.type != ValueType::real;
}

std::optional<Value> decode_raw(const RawPlace& place, std::uint8_t* bytes) {
    reverse_if(place.is_reversed, bytes, place.width);
    if (is_converted(place)) {
        return encode_integer(*place.type, widen(bytes, place.width, is_signed(*place.type)));
    }
    Value value;
    value.size = place.width;
    std::memcpy(value.bytes.data(), bytes, place.width);
    return value;
}

// The bytes for the file; size is the place's width.
std::optional<Value> encode_raw(const RawPlace& place, const std::uint8_t* in) {
    Value raw;
    raw.size = place.width;
    if (is_converted(place)) {
        const std::int64_t number = decode_integer(*place.type, in);
        std::memcpy(raw.bytes.data(),
                    reinterpret_cast<const std::uint8_t*>(&number) + low_end(place.width),
                    place.width);
        const bool fits = widen(raw.bytes.data(), place.width, is_signed(*place.type)) == number;
        if (!fits || !encode_integer(*place.type, number)) {
            return std::nullopt;
        }
    } else {
        std::memcpy(raw.bytes.data(), in, place.width);
    }
    reverse_if(place.is_reversed, raw.bytes.data(), place.width);
    return raw;
}

}  // namespace

gint32 read_raw(const char* path, const RawPlace& place, gint32 offset, gsize length,
                gpointer out) {
    if (length != 0) {
        return read_bytes(path, place.offset + offset, out, length);
    }
    std::array<std::uint8_t, longest_value> bytes{};
    const gint32 code = read_bytes(path, place.offset, bytes.data(), place.width);
    if (code != DRIVER_OK) {
        return code;
    }
    const std::optional<Value> value = decode_raw(place, bytes.data());
    if (!value) {
        return DRIVER_ERR_MALFORMED;
    }
    std::memcpy(out, value->bytes.data(), value->size);
    return DRIVER_OK;
}

gint32 write_raw(const char* path, const RawPlace& place, gint32 offset, gsize length,
                 gconstpointer in) {
    if (offset != 0 || length != place.value_size()) {
        return write_bytes(path, place.offset + offset, in, length);
    }
    const std::optional<Value> raw = encode_raw(place, static_cast<const std::uint8_t*>(in));
    if (!raw) {
        return DRIVER_ERR_REFUSED;
    }
    return write_bytes(path, place.offset, raw->bytes.data(), raw->size);
}

}  // namespace mox::driver
