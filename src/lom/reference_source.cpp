// Properties that name another object's property: their text, "object.property", is followed from
// record to record, to any depth, without recursion. The referencing properties' own states play no
// part in the read.
#include <algorithm>
#include <cstring>

#include "lom/object_ref.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"
#include "lom/semaphore_guard.hpp"

namespace {

// Longer names than the records hold cannot be found, so a cut here changes nothing.
constexpr gsize kPieceLength = 2 * PUB_NAME_LENGTH;

// The two pieces of a reference's text, split at its first "."; the second is missing without one.
struct Target {
    gchar object_name[kPieceLength] = {};
    gchar property_name[kPieceLength] = {};
    bool has_property = false;
};

// Returns whether the piece fitted.
bool copy_piece(gchar (&piece)[kPieceLength], const gchar* text, gsize length) {
    if (length >= kPieceLength) {
        return false;
    }
    std::memcpy(piece, text, length);
    piece[length] = '\0';
    return true;
}

// Splits a text that nobody changes meanwhile. Returns 0, or MOX_ERR_INTERNAL when there is none.
gint32 split(const SERIALISED_PROPERTY_S& property, Target& target) {
    const auto* text = static_cast<const gchar*>(property.data);
    if (text == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    target = {};
    const gsize length = strnlen(text, std::min(property.size, property.capacity));
    const auto* dot = static_cast<const gchar*>(std::memchr(text, '.', length));
    const gsize object_length = dot == nullptr ? length : static_cast<gsize>(dot - text);
    copy_piece(target.object_name, text, object_length);
    target.has_property =
        dot != nullptr && copy_piece(target.property_name, dot + 1, length - object_length - 1);
    return MOX_OK;
}

// Splits the text of an object's property, which its owner may be replacing at this moment.
gint32 split_stored(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property,
                    Target& target) {
    const mox::SemaphoreGuard semaphore(object);
    return semaphore ? split(property, target) : static_cast<gint32>(MOX_ERR_SEMAPHORE);
}

// Notices that a walk has come back to where it was: the mark is set anew after 1, 2, 4, ... steps,
// so a cycle of any length is met within a few rounds of it.
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

// Follows references to the first property that is none, and reads it.
gint32 follow(Target target, gboolean is_volatile, TLV_S& tlv, gboolean is_remote) {
    CycleWatch watch;
    mox::ObjectRef object;
    for (;;) {
        object = mox::find_anywhere(target.object_name);
        if (!object) {
            return MOX_ERR_OBJECT_NOT_FOUND;
        }
        SERIALISED_PROPERTY_S* property =
            _get_property_node(object.get(), target.has_property ? target.property_name : nullptr);
        if (property == nullptr) {
            return MOX_ERR_PROPERTY_NOT_FOUND;
        }
        if (!mox::is_reference(*property)) {
            return mox::read_property(*object, *property, is_volatile, tlv, is_remote);
        }
        if (watch.is_repeated(property)) {
            return MOX_ERR_INTERNAL;
        }
        if (const gint32 result = split_stored(*object, *property, target); result != MOX_OK) {
            return result;
        }
    }
}

}  // namespace

gboolean _get_reference_property_data(SERIALISED_PROPERTY_S* property_node, gboolean is_volatile,
                                      TLV_S* ptlv, gint32* retv, gboolean is_remote) {
    Target target;
    *retv = split(*property_node, target);
    if (*retv == MOX_OK) {
        *retv = follow(target, is_volatile, *ptlv, is_remote);
    }
    return TRUE;
}

namespace mox {

gint32 read_reference(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property,
                      gboolean is_volatile, TLV_S& tlv, gboolean is_remote) {
    Target target;
    const gint32 result = split_stored(object, property, target);
    return result != MOX_OK ? result : follow(target, is_volatile, tlv, is_remote);
}

}  // namespace mox
