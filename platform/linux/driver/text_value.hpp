// Values that lie in a file as text: a field, a named line's field, or the whole of an attribute.
#ifndef MOXPLAT_LINUX_DRIVER_TEXT_VALUE_HPP
#define MOXPLAT_LINUX_DRIVER_TEXT_VALUE_HPP

#include <glib.h>

#include <cstdint>
#include <string>
#include <vector>

#include "text_number.hpp"

namespace mox::driver {

enum class TextShape { field, line, attribute };

struct TextPlace {
    TextShape shape = TextShape::attribute;
    std::uint32_t field = 1;              // counted from 1; in a line: behind its name
    std::uint32_t line_number = 0;        // counted from 1; 0: the file is one stream of fields
    std::vector<std::string> line_words;  // the named line's name
    NumberFormat format;
};

// Reads the value into `out`; with a length, `length` bytes at `offset` of the value, or of an
// attribute's text.
gint32 read_text_place(const char* path, const TextPlace& place, gint32 offset, gsize length,
                       gpointer out);

// Writes an attribute; offset is 0 and length that of the type.
gint32 write_text_place(const char* path, const TextPlace& place, gint32 offset, gsize length,
                        gconstpointer in);

}  // namespace mox::driver

#endif
