// Type strings: which types the object model stores, and their form in the configuration store.
#include <pub.h>

#include "base/bounded_copy.hpp"

GVARIANT_SUPPORT_TYPE pub_str_type_check(const gchar* type) {
    if (type == nullptr) {
        return GVARIANT_NOT_SUPPORT;
    }
    switch (type[0]) {
        case 'b':
        case 'd':
        case 'i':
        case 'n':
        case 'q':
        case 'u':
        case 'y':
            return GVARIANT_FIX;
        case 'a':
        case 's':
            return GVARIANT_DYNAMIC;
        default:
            return GVARIANT_NOT_SUPPORT;
    }
}

GVARIANT_SUPPORT_TYPE pub_gvariant_type_check(GVariant* value) {
    return value == nullptr ? GVARIANT_NOT_SUPPORT
                            : pub_str_type_check(g_variant_get_type_string(value));
}

void pub_serialize_type(const gchar* type_in, gchar* type_out, gint32 length) {
    if (type_in == nullptr || type_out == nullptr) {
        return;
    }
    const gchar marker = type_in[3];
    const gsize room = length < 0 ? 0 : static_cast<gsize>(length);
    if (marker != 'o' && marker != PUB_REFERENCE_MARKER) {
        MOX_LOG_COPY(MOX_COPY_FAILED_TIGHT, "pub",
                     memmove_s(type_out, room, type_in, PUB_TYPE_LENGTH));
        return;
    }
    // The marked form is 4 bytes, whatever length says of a smaller buffer is not overstepped.
    const gchar marked[4] = {'r', marker, type_in[0] == 'a' ? 'a' : '\0', '\0'};
    MOX_LOG_COPY(MOX_COPY_FAILED_TIGHT, "pub", memmove_s(type_out, room, marked, sizeof(marked)));
}

void pub_unserialize_type(const gchar* type_in, gchar* type_out, guint32 len_out) {
    if (type_in == nullptr || type_out == nullptr || len_out < PUB_TYPE_LENGTH) {
        return;
    }
    if (type_in[0] != 'r') {
        MOX_LOG_COPY(MOX_COPY_FAILED_TIGHT, "pub",
                     memmove_s(type_out, len_out, type_in, PUB_TYPE_LENGTH));
        return;
    }
    const gboolean is_array = type_in[2] == 'a';
    type_out[0] = is_array ? 'a' : 's';
    type_out[1] = is_array ? 's' : '\0';
    type_out[2] = '\0';
    type_out[3] = type_in[1];
}
