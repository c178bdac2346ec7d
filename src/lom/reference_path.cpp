// Pieces are cut to their stored lengths: text without a terminator leads nowhere else.
#include "lom/reference_path.hpp"

#include <algorithm>
#include <cstring>

#include "lom/semaphore_guard.hpp"
#include "lom/stored_bytes.hpp"

namespace mox {
namespace {

// Returns whether the piece fitted.
bool copy_piece(gchar (&piece)[ReferenceTarget::kPieceLength], const gchar* text, gsize length) {
    if (length >= ReferenceTarget::kPieceLength) {
        return false;
    }
    std::memcpy(piece, text, length);
    piece[length] = '\0';
    return true;
}

}  // namespace

gint32 split_reference(const SERIALISED_PROPERTY_S& property, ReferenceTarget& target) {
    const auto* text = static_cast<const gchar*>(property.data);
    if (text == nullptr || is_half_written(property)) {
        return MOX_ERR_INTERNAL;
    }
    const gsize length = strnlen(text, std::min(property.size, property.capacity));
    target.is_empty = length == 0;
    const auto* dot = static_cast<const gchar*>(std::memchr(text, '.', length));
    const gsize object_length = dot == nullptr ? length : static_cast<gsize>(dot - text);
    target.object_name[0] = '\0';
    copy_piece(target.object_name, text, object_length);
    target.has_property =
        dot != nullptr && copy_piece(target.property_text, dot + 1, length - object_length - 1);
    return MOX_OK;
}

gint32 split_stored_reference(const OBJECT_HEAD_S& object, const SERIALISED_PROPERTY_S& property,
                              ReferenceTarget& target) {
    const SemaphoreGuard semaphore(object);
    return semaphore ? split_reference(property, target) : static_cast<gint32>(MOX_ERR_SEMAPHORE);
}

}  // namespace mox
