// The bytes are taken before any semaphore is: putting a value into serialised form may take time
// and memory.
#include "lom/new_value.hpp"

#include <pub.h>

#include <cstring>

#include "base/published.hpp"
#include "lom/property.hpp"
#include "lom/stored_bytes.hpp"

namespace mox {
namespace {

// Bytes of a value of a one-letter type; 0 for the types whose values must be asked.
gsize fixed_size_of(const gchar* type) {
    if (type[1] != '\0') {
        return 0;
    }
    switch (type[0]) {
        case 'y':
        case 'b':
            return sizeof(guint8);
        case 'n':
        case 'q':
            return sizeof(guint16);
        case 'i':
        case 'u':
            return sizeof(guint32);
        case 'd':
            return sizeof(gdouble);
        default:
            return 0;
    }
}

}  // namespace

NewValue::NewValue(GVariant* value, const SERIALISED_PROPERTY_S& property) : value_(value) {
    if (value == nullptr) {
        code_ = MOX_ERR_BAD_ARGUMENT;
        return;
    }
    const gchar* type = g_variant_get_type_string(value);
    if (!is_of_type(type, property)) {
        code_ = MOX_ERR_TYPE_MISMATCH;
        return;
    }
    if (pub_str_type_check(type) == GVARIANT_NOT_SUPPORT) {
        code_ = MOX_ERR_TYPE_NOT_SUPPORTED;
        return;
    }
    code_ = MOX_OK;
    if (!g_variant_is_normal_form(value)) {
        normal_form_.reset(g_variant_get_normal_form(value));
        value_ = normal_form_.get();
    }
    size_ = fixed_size_of(type);
    if (size_ == 0) {
        size_ = g_variant_get_size(value_);
    }
    bytes_ = g_variant_get_data(value_);
}

bool NewValue::fits(const SERIALISED_PROPERTY_S& property) const {
    return size_ <= read_published(property.capacity);
}

bool NewValue::equals_stored(const SERIALISED_PROPERTY_S& property) const {
    return size_ == property.size && !is_half_written(property) &&
           (size_ == 0 || std::memcmp(property.data, bytes_, size_) == 0);
}

void NewValue::store(SERIALISED_PROPERTY_S& property) const {
    store_bytes(property, bytes_, size_);
}

}  // namespace mox
