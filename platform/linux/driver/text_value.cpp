// What holds here: a value is delivered only when its text was read to its end, so a file that is
// longer than what is looked at never gives a number that was cut in two.
#include "text_value.hpp"

#include <moxplat/driver.h>

#include <cstring>

#include "device_file.hpp"
#include "text_search.hpp"

namespace mox::driver {
namespace {

std::optional<std::string_view> find_text(std::string_view text, const TextPlace& place) {
    std::optional<std::string_view> part = text;
    switch (place.shape) {
        case TextShape::attribute:
            return strip(text);
        case TextShape::field:
            part = place.line_number == 0 ? part : nth_line(text, place.line_number);
            break;
        case TextShape::line:
            part = after_line_name(text, place.line_words);
            break;
    }
    return part ? nth_field(*part, place.field) : std::nullopt;
}

// Copies [offset, offset + length) of the bytes.
gint32 copy_slice(const void* bytes, std::size_t size, gint32 offset, gsize length, gpointer out) {
    const auto start = static_cast<std::size_t>(offset);
    if (start > size || length > size - start) {
        return DRIVER_ERR_RANGE;
    }
    std::memcpy(out, static_cast<const std::uint8_t*>(bytes) + start, length);
    return DRIVER_OK;
}

}  // namespace

gint32 read_text_place(const char* path, const TextPlace& place, gint32 offset, gsize length,
                       gpointer out) {
    FileText file;
    const gint32 code = file.read(path);
    if (code != DRIVER_OK) {
        return code;
    }
    if (file.is_cut() && place.shape == TextShape::attribute) {
        return DRIVER_ERR_TOO_LONG;
    }
    if (!file.is_cut() && strip(file.view()).empty()) {
        return DRIVER_ERR_NOT_READY;
    }
    const std::string_view text = file.is_cut() ? without_cut_field(file.view()) : file.view();
    const std::optional<std::string_view> found = find_text(text, place);
    if (!found) {
        return file.is_cut() ? DRIVER_ERR_TOO_LONG : DRIVER_ERR_NO_VALUE;
    }
    if (place.shape == TextShape::attribute && length != 0) {
        return copy_slice(found->data(), found->size(), offset, length, out);
    }
    const std::optional<Value> value = parse_number(*found, place.format);
    if (!value) {
        return DRIVER_ERR_MALFORMED;
    }
    return copy_slice(value->bytes.data(), value->size, offset, length == 0 ? value->size : length,
                      out);
}

gint32 write_text_place(const char* path, const TextPlace& place, gint32 offset, gsize length,
                        gconstpointer in) {
    if (place.shape != TextShape::attribute) {
        return DRIVER_ERR_READ_ONLY;
    }
    if (offset != 0 || length != size_of(place.format.type)) {
        return DRIVER_ERR_RANGE;
    }
    const std::optional<std::string> text =
        print_number(static_cast<const std::uint8_t*>(in), place.format);
    return text ? write_text(path, *text + '\n') : DRIVER_ERR_REFUSED;
}

}  // namespace mox::driver
