// What holds here: of several faults the first one found is the one that is told, and a location
// with a fault is never used, not even in part.
#include "location.hpp"

#include <bit>
#include <climits>
#include <cmath>
#include <limits>

#include "text_search.hpp"

namespace mox::driver {
namespace {

// Reads configuration properties by name and keeps the first complaint.
class Reader {
public:
    explicit Reader(const PropertyList& properties) : properties_{properties} {}

    // "" when not given.
    std::string text(std::string_view name) {
        const StoredProperty* property = find_property(properties_, name);
        if (property == nullptr) {
            return {};
        }
        const std::optional<std::string_view> text = text_of(*property);
        if (!text) {
            complain(name, "is of type " + property->type + ", it must be a string (s)");
        }
        return std::string{text.value_or("")};
    }

    // 0 when not given.
    std::int64_t count(std::string_view name, std::int64_t highest) {
        const StoredProperty* property = find_property(properties_, name);
        if (property == nullptr) {
            return 0;
        }
        const std::optional<std::int64_t> number = integer_of(*property);
        if (!number) {
            complain(name, "is of type " + property->type + ", it must be a whole number");
        } else if (*number < 0 || *number > highest) {
            complain(name, "is " + std::to_string(*number) + ", it must be 0 to " +
                               std::to_string(highest));
        }
        return number.value_or(0);
    }

    // 0 when not given.
    double real(std::string_view name) {
        const StoredProperty* property = find_property(properties_, name);
        if (property == nullptr) {
            return 0;
        }
        const std::optional<double> number = real_of(*property);
        if (!number) {
            complain(name, "is of type " + property->type + ", it must be a double (d)");
        } else if (!std::isfinite(*number)) {
            complain(name, "is not a finite number");
        }
        return number.value_or(0);
    }

    void complain(std::string_view name, const std::string& what) {
        if (problem_.empty()) {
            problem_ = std::string{name} + " " + what;
        }
    }

    const std::string& problem() const { return problem_; }

private:
    const PropertyList& properties_;
    std::string problem_;
};

bool has_parent_step(std::string_view path) {
    while (!path.empty()) {
        const std::size_t end = path.find('/');
        if (path.substr(0, end) == "..") {
            return true;
        }
        path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    }
    return false;
}

std::optional<ValueType> read_type(Reader& reader) {
    const std::string text = reader.text("Type");
    const std::optional<ValueType> type = value_type_of(text);
    if (!text.empty() && !type) {
        reader.complain("Type", "is \"" + text + "\", it must be b, y, n, q, i, u or d");
    }
    return type;
}

void check_width(Reader& reader, const RawPlace& raw) {
    if (raw.width == 0) {
        reader.complain("Width", "is missing, and so is Type: give one of them");
    } else if (raw.width != 1 && raw.width != 2 && raw.width != 4 && raw.width != 8) {
        reader.complain("Width", "is " + std::to_string(raw.width) + ", it must be 1, 2, 4 or 8");
    } else if (raw.type == ValueType::real && raw.width != sizeof(double)) {
        reader.complain("Width",
                        "is " + std::to_string(raw.width) + ", a value of type d has 8 bytes");
    } else if (raw.width > raw.value_size()) {
        reader.complain("Type", std::string{"is "} + letter_of(*raw.type) +
                                    ", too narrow for Width " + std::to_string(raw.width));
    }
}

RawPlace read_raw_place(Reader& reader) {
    RawPlace raw;
    raw.type = read_type(reader);
    raw.offset = reader.count("Offset", std::numeric_limits<std::int64_t>::max() / 2);
    raw.width =
        static_cast<std::size_t>(reader.count("Width", std::numeric_limits<std::uint8_t>::max()));
    if (raw.width == 0 && raw.type) {
        raw.width = size_of(*raw.type);
    }
    check_width(reader, raw);
    const std::string order = reader.text("Order");
    if (order == "little" || order == "big") {
        raw.is_reversed = (order == "little") != (std::endian::native == std::endian::little);
    } else if (!order.empty()) {
        reader.complain("Order", "is \"" + order + "\", it must be little or big");
    }
    if (reader.real("Scale") != 0) {
        reader.complain("Scale", "is for values that are text, not for Kind raw");
    }
    return raw;
}

NumberFormat read_number_format(Reader& reader) {
    NumberFormat format;
    const std::optional<ValueType> type = read_type(reader);
    if (!type) {
        reader.complain("Type", "is missing, it must be b, y, n, q, i, u or d");
    }
    format.type = type.value_or(ValueType::int32);
    format.scale = reader.real("Scale");
    if (format.scale != 0 && format.type == ValueType::boolean) {
        reader.complain("Scale", "is for numbers, not for Type b");
    }
    const std::string hint = reader.text("Format");
    format.hex = hint == "hex";
    if (!format.hex && !hint.empty()) {
        reader.complain("Format", "is \"" + hint + "\", it must be hex or empty");
    } else if (format.hex && (format.type == ValueType::real || format.scale != 0)) {
        reader.complain("Format", "hex is for whole types without a Scale");
    }
    return format;
}

TextPlace read_text_place_of(Reader& reader, TextShape shape) {
    constexpr std::int64_t highest = std::numeric_limits<std::uint32_t>::max();
    TextPlace text;
    text.shape = shape;
    text.format = read_number_format(reader);
    const std::int64_t field = shape == TextShape::attribute ? 1 : reader.count("Field", highest);
    text.field = field == 0 ? 1 : static_cast<std::uint32_t>(field);
    if (shape == TextShape::field) {
        text.line_number = static_cast<std::uint32_t>(reader.count("LineNumber", highest));
        if (field == 0) {
            reader.complain("Field", "is missing, it must be the number of the field, from 1");
        }
    }
    if (shape == TextShape::line) {
        text.line_words = words_of_line_name(reader.text("Line"));
        if (text.line_words.empty()) {
            reader.complain("Line", "is missing, it must be the name at the start of the line");
        }
    }
    return text;
}

std::variant<RawPlace, TextPlace> read_place(Reader& reader) {
    const std::string kind = reader.text("Kind");
    if (kind == "raw") {
        return read_raw_place(reader);
    }
    if (kind == "field") {
        return read_text_place_of(reader, TextShape::field);
    }
    if (kind == "line") {
        return read_text_place_of(reader, TextShape::line);
    }
    if (kind != "attribute") {
        reader.complain("Kind", "is \"" + kind + "\", it must be raw, field, line or attribute");
    }
    return read_text_place_of(reader, TextShape::attribute);
}

}  // namespace

std::optional<Location> parse_location(const PropertyList& properties) {
    Reader reader{properties};
    Location location;
    location.chip = reader.text("Chip");
    if (location.chip.empty() && reader.problem().empty()) {
        return std::nullopt;
    }
    location.file = reader.text("File");
    if (location.file.starts_with('/') || has_parent_step(location.file)) {
        reader.complain("File", "is \"" + location.file + "\", it must lie below the chip's Path");
    }
    location.place = read_place(reader);
    location.problem = reader.problem();
    return location;
}

std::optional<ChipPath> parse_chip_path(const PropertyList& properties) {
    Reader reader{properties};
    ChipPath chip;
    chip.path = reader.text("Path");
    if (chip.path.empty() && reader.problem().empty()) {
        return std::nullopt;
    }
    if (!chip.path.starts_with('/')) {
        reader.complain("Path", "is \"" + chip.path + "\", it must begin with /");
    } else if (has_parent_step(chip.path)) {
        reader.complain("Path", "is \"" + chip.path + "\", it must not have a step \"..\"");
    } else if (chip.path.size() >= PATH_MAX) {
        reader.complain("Path", "is longer than the system allows");
    }
    chip.problem = reader.problem();
    return chip;
}

}  // namespace mox::driver
