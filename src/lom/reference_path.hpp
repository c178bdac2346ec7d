// The text of a property that names another object's property, "object.property", and walks along
// such names from record to record that end also when the names form a circle.
#ifndef MOX_LOM_REFERENCE_PATH_HPP
#define MOX_LOM_REFERENCE_PATH_HPP

#include <lom/object.h>

#include "lom/object_ref.hpp"

namespace mox {

// The two pieces of a reference's text, split at its first "."; the second is missing without one.
struct ReferenceTarget {
    // Longer names than the records hold cannot be found, so a cut here changes nothing.
    static constexpr gsize kPieceLength = 2 * PUB_NAME_LENGTH;

    // Every write has one of these in store, so only what makes the pieces empty is set.
    ReferenceTarget() {
        object_name[0] = '\0';
        property_text[0] = '\0';
    }

    gchar object_name[kPieceLength];
    gchar property_text[kPieceLength];
    bool has_property = false;
    bool is_empty = true;  // there is no text at all

    // Null without a second piece.
    const gchar* property_name() const { return has_property ? property_text : nullptr; }
};

// Splits a text that nobody changes meanwhile. Returns 0, or MOX_ERR_INTERNAL when there is none.
gint32 split_reference(const SERIALISED_PROPERTY_S& property, ReferenceTarget& target);

// Splits the text of an object's property, which its owner may be replacing at this moment. Takes
// the object's semaphore: MOX_ERR_SEMAPHORE when that fails.
gint32 split_stored_reference(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property,
                              ReferenceTarget& target);

// Follows references to the first property that is none. target: what the first one names; used up.
// object: receives the found property's object. Returns 0; MOX_ERR_OBJECT_NOT_FOUND,
// MOX_ERR_PROPERTY_NOT_FOUND; MOX_ERR_SEMAPHORE when a reference on the way cannot be looked at;
// MOX_ERR_INTERNAL when they form a circle.
gint32 find_referenced(ReferenceTarget& target, ObjectRef& object,
                       SERIALISED_PROPERTY_S*& property);

// Notices that a walk has come back to where it was: the mark is set anew after 1, 2, 4, ... steps,
// so a circle of any length is met within a few rounds of it.
class CycleWatch {
public:
    bool is_repeated(const SERIALISED_PROPERTY_S* property) {
        if (property == mark_) {
            return true;
        }
        if (++steps_ == limit_) {
            mark_ = property;
            steps_ = 0;
            limit_ *= 2;
        }
        return false;
    }

private:
    const SERIALISED_PROPERTY_S* mark_ = nullptr;
    guint steps_ = 0;
    guint limit_ = 1;
};

}  // namespace mox

#endif
