// A value that is about to be stored: checked against its property, and its bytes.
#ifndef MOX_LOM_NEW_VALUE_HPP
#define MOX_LOM_NEW_VALUE_HPP

#include <lom/object.h>

#include "base/glib_ptr.hpp"

namespace mox {

// Borrows the caller's value. Readers take stored bytes at their word, so a value that is not in
// normal form (one made from received bytes) stands here in its normal form.
class NewValue {
public:
    // value: nullable. After it, code() says whether the value may be stored.
    NewValue(GVariant* value, const SERIALISED_PROPERTY_S& property);

    // 0; MOX_ERR_BAD_ARGUMENT for null; MOX_ERR_TYPE_MISMATCH; MOX_ERR_TYPE_NOT_SUPPORTED. The
    // rest is for values whose code is 0.
    gint32 code() const { return code_; }
    GVariant* get() const { return value_; }
    gsize size() const { return size_; }
    gconstpointer bytes() const { return bytes_; }

    // Whether the property's room is large enough now; it never shrinks.
    bool fits(const SERIALISED_PROPERTY_S& property) const;

    // Whether the stored bytes are the same. Called with the object's semaphore held.
    bool equals_stored(const SERIALISED_PROPERTY_S& property) const;

    // Puts the bytes and their size into a property they fit. Called with the object's semaphore
    // held.
    void store(SERIALISED_PROPERTY_S& property) const;

private:
    gint32 code_;
    GVariant* value_;
    VariantPtr normal_form_;
    gsize size_ = 0;
    gconstpointer bytes_ = nullptr;
};

}  // namespace mox

#endif
