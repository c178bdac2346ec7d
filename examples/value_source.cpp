#include "value_source.hpp"

#include <lom.h>

#include "text_file.hpp"
#include "watched_objects.hpp"

namespace mox::examples {
namespace {

OBJ_HANDLE find_object(const std::string& name) {
    const OBJ_HANDLE object = lom_get_object_handle(name.c_str());
    if (object == 0) throw WatchError("there is no object " + name);
    return object;
}

bool has_property(OBJ_HANDLE object, const char* property) {
    gchar type[PUB_TYPE_LENGTH];
    return lom_get_property_type(object, property, type, sizeof type) == MOX_OK;
}

// The property's value in the pool; null when the object's class has no such property.
VariantPtr find_value(OBJ_HANDLE object, const char* property, const GVariantType* type) {
    if (!has_property(object, property)) return nullptr;
    VariantPtr value = read_pool(object, property);
    if (g_variant_is_of_type(value.get(), type)) return value;
    throw WatchError(std::string{property} + " of " + lom_handle_to_name(object) +
                     " has an unexpected type");
}

std::string text_in(OBJ_HANDLE object, const char* property) {
    const VariantPtr value = find_value(object, property, G_VARIANT_TYPE_STRING);
    return value ? g_variant_get_string(value.get(), nullptr) : "";
}

unsigned count_in(OBJ_HANDLE object, const char* property) {
    const VariantPtr value = find_value(object, property, G_VARIANT_TYPE_UINT32);
    return value ? g_variant_get_uint32(value.get()) : 0;
}

double real_in(OBJ_HANDLE object, const char* property) {
    const VariantPtr value = find_value(object, property, G_VARIANT_TYPE_DOUBLE);
    return value ? g_variant_get_double(value.get()) : 0;
}

// What stands behind the name in this line; nothing when the line has another name. Between name
// and values there may be a colon, with blanks around it or none.
std::optional<std::vector<std::string>> behind_name(const std::vector<std::string>& name,
                                                    std::vector<std::string> fields) {
    if (fields.size() < name.size()) return std::nullopt;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool is_last = i + 1 == name.size();
        if (fields[i] != name[i] && !(is_last && fields[i] == name[i] + ":")) return std::nullopt;
    }
    std::size_t taken = name.size();
    if (taken < fields.size() && fields[taken] == ":") ++taken;
    return std::vector<std::string>{fields.begin() + static_cast<std::ptrdiff_t>(taken),
                                    fields.end()};
}

std::vector<std::string> fields_at(const ValueSource& source, const std::string& text) {
    if (source.line_name.empty() && source.line_number == 0) return fields_of(text);
    const std::vector<std::string> lines = lines_of(text);
    if (source.line_name.empty()) {
        return source.line_number <= lines.size() ? fields_of(lines[source.line_number - 1])
                                                  : std::vector<std::string>{};
    }
    for (const std::string& line : lines) {
        if (auto fields = behind_name(source.line_name, fields_of(line))) return *fields;
    }
    return {};
}

}  // namespace

ValueSource find_source(const std::string& accessor) {
    const OBJ_HANDLE place = find_object(accessor);
    const OBJ_HANDLE chip = find_object(text_in(place, "Chip"));
    ValueSource source;
    source.path = text_in(chip, "Path");
    const std::string file = text_in(place, "File");
    if (!file.empty()) source.path += "/" + file;
    source.line_name = fields_of(text_in(place, "Line"));
    source.line_number = count_in(place, "LineNumber");
    const unsigned field = count_in(place, "Field");
    source.field = field == 0 ? 1 : field;
    source.scale = real_in(place, "Scale");
    source.is_text = text_in(place, "Kind") != "raw" && text_in(place, "Format").empty();
    return source;
}

std::optional<double> number_at(const ValueSource& source, const std::string& text) {
    const std::vector<std::string> fields = fields_at(source, text);
    if (!source.is_text || fields.size() < source.field) return std::nullopt;
    const std::string& field = fields[source.field - 1];
    gchar* end = nullptr;
    const double number = g_ascii_strtod(field.c_str(), &end);
    if (end == field.c_str() || *end != '\0') return std::nullopt;
    return source.scale == 0 ? number : number * source.scale;
}

bool only_grows(const ValueSource& source) {
    if (source.path == "/proc/stat") {
        return !source.line_name.empty() && !source.line_name.front().starts_with("procs_");
    }
    return source.path == "/proc/uptime" || source.path == "/proc/diskstats" ||
           source.path == "/proc/net/dev";
}

}  // namespace mox::examples
