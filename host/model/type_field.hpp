// A type as the records of the object model and of the class tree hold it.
#ifndef MOXHOST_MODEL_TYPE_FIELD_HPP
#define MOXHOST_MODEL_TYPE_FIELD_HPP

#include <pub.h>

#include <array>
#include <string>

#include "profile/profile.hpp"

namespace mox::host {

using TypeField = std::array<gchar, PUB_TYPE_LENGTH>;

// The field for a type string of at most 5 characters. A reference bears its mark behind the type
// string "s".
inline TypeField type_field(const std::string& type, PropertyKind kind) {
    constexpr std::size_t marker_byte = 3;
    TypeField field = {};
    type.copy(field.data(), field.size() - 1);
    if (kind == PropertyKind::reference) {
        field[marker_byte] = PUB_REFERENCE_MARKER;
    }
    return field;
}

}  // namespace mox::host

#endif
