// Text into a fixed field of a record.
#ifndef MOX_BASE_RECORD_TEXT_HPP
#define MOX_BASE_RECORD_TEXT_HPP

#include <glib.h>

#include <cstring>

namespace mox {

// Copies a text, cut to what the field holds with a terminator. The field must be zeroed before:
// what lies behind the text then stays zero.
template <gsize kRoom>
void copy_text(gchar (&field)[kRoom], const gchar* text) {
    std::memcpy(field, text, strnlen(text, kRoom - 1));
}

}  // namespace mox

#endif
