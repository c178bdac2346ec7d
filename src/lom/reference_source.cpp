// Properties that name another object's property: their text, "object.property", is followed from
// record to record, to any depth, without recursion. The referencing properties' own states play no
// part in the read.
#include <algorithm>
#include <cstring>

#include "lom/object_ref.hpp"
#include "lom/property.hpp"
#include "lom/property_state.hpp"

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

// False when there is no text to split.
bool split(const SERIALISED_PROPERTY_S& property, Target& target) {
    const auto* text = static_cast<const gchar*>(property.data);
    if (text == nullptr) {
        return false;
    }
    const gsize length = strnlen(text, std::min(property.size, property.capacity));
    const auto* dot = static_cast<const gchar*>(std::memchr(text, '.', length));
    const gsize object_length = dot == nullptr ? length : static_cast<gsize>(dot - text);
    copy_piece(target.object_name, text, object_length);
    target.has_property =
        dot != nullptr && copy_piece(target.property_name, dot + 1, length - object_length - 1);
    return true;
}

// Notices that a walk has come back to where it was: the mark is set anew after 1, 2, 4, ... steps,
// so a cycle of any length is met within a few rounds of it.
class CycleWatch {
public:
    explicit CycleWatch(const SERIALISED_PROPERTY_S* start) : mark_(start) {}

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
    const SERIALISED_PROPERTY_S* mark_;
    guint steps_ = 0;
    guint limit_ = 1;
};

// Follows references to the first property that is none. Returns 0 with the object held and the
// property set.
gint32 follow(SERIALISED_PROPERTY_S*& property, mox::ObjectRef& object) {
    CycleWatch watch(property);
    while (mox::is_reference(*property)) {
        Target target;
        if (!split(*property, target)) {
            return MOX_ERR_INTERNAL;
        }
        mox::ObjectRef next = mox::find_anywhere(target.object_name);
        if (!next) {
            return MOX_ERR_OBJECT_NOT_FOUND;
        }
        property =
            _get_property_node(next.get(), target.has_property ? target.property_name : nullptr);
        object = std::move(next);
        if (property == nullptr) {
            return MOX_ERR_PROPERTY_NOT_FOUND;
        }
        if (watch.is_repeated(property)) {
            return MOX_ERR_INTERNAL;
        }
    }
    return MOX_OK;
}

}  // namespace

gboolean _get_reference_property_data(SERIALISED_PROPERTY_S* property_node, gboolean is_volatile,
                                      TLV_S* ptlv, gint32* retv, gboolean is_remote) {
    mox::ObjectRef target;
    *retv = follow(property_node, target);
    if (*retv == MOX_OK && target) {
        *retv = mox::read_property(*target, *property_node, is_volatile, *ptlv, is_remote);
    }
    return TRUE;
}
