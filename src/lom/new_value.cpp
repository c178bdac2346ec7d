// The bytes are taken before any semaphore is: putting a value into serialised form may take time
// and memory.
#include "lom/new_value.hpp"

#include <pub.h>

#include <cstring>

#include "base/published.hpp"
#include "lom/property.hpp"

namespace mox {

NewValue::NewValue(GVariant* value, const SERIALISED_PROPERTY_S& property) : value_(value) {
    if (value == nullptr) {
        code_ = MOX_ERR_BAD_ARGUMENT;
        return;
    }
    if (!is_of_type(value, property)) {
        code_ = MOX_ERR_TYPE_MISMATCH;
        return;
    }
    if (pub_gvariant_type_check(value) == GVARIANT_NOT_SUPPORT) {
        code_ = MOX_ERR_TYPE_NOT_SUPPORTED;
        return;
    }
    code_ = MOX_OK;
    if (!g_variant_is_normal_form(value)) {
        normal_form_.reset(g_variant_get_normal_form(value));
        value_ = normal_form_.get();
    }
    size_ = g_variant_get_size(value_);
    bytes_ = g_variant_get_data(value_);
}

bool NewValue::fits(const SERIALISED_PROPERTY_S& property) const {
    return size_ <= read_published(property.capacity);
}

bool NewValue::equals_stored(const SERIALISED_PROPERTY_S& property) const {
    return size_ == property.size && (size_ == 0 || std::memcmp(property.data, bytes_, size_) == 0);
}

void NewValue::store(SERIALISED_PROPERTY_S& property) const {
    if (size_ > 0) {
        std::memcpy(property.data, bytes_, size_);
    }
    publish(property.size, size_);  // live reads look at it before they lock
}

}  // namespace mox
