// Raw bytes in host order to typed values and to doubles. The bytes may lie at any address.
#include <pub.h>

#include <cstring>

namespace {

template <typename T>
T load(gconstpointer data) {
    T value;
    std::memcpy(&value, data, sizeof(value));
    return value;
}

}  // namespace

// "b" and "d" are left out on purpose: callers tell a value that hardware cannot deliver by the
// null.
GVariant* pub_base_gvariant_new(const gchar* type, gconstpointer data) {
    if (type == nullptr || data == nullptr) {
        return nullptr;
    }
    switch (type[0]) {
        case 'i':
            return g_variant_new_int32(load<gint32>(data));
        case 'n':
            return g_variant_new_int16(load<gint16>(data));
        case 'q':
            return g_variant_new_uint16(load<guint16>(data));
        case 'u':
            return g_variant_new_uint32(load<guint32>(data));
        case 'y':
            return g_variant_new_byte(load<guint8>(data));
        default:
            return nullptr;
    }
}

gdouble pub_raw_to_double(const gchar* type, [[maybe_unused]] guint32 size, gconstpointer data) {
    if (type == nullptr || data == nullptr) {
        return 0.0;
    }
    switch (type[0]) {
        case 'd':
            return load<gdouble>(data);
        case 'i':
            return load<gint32>(data);
        case 'n':
            return load<gint16>(data);
        case 'q':
            return load<guint16>(data);
        case 'u':
            return load<guint32>(data);
        case 'y':
            return load<guint8>(data);
        default:
            return 0.0;
    }
}
