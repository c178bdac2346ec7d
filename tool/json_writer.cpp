#include "json_writer.hpp"

#include "glib_owners.hpp"

namespace mox::tool {
namespace {

std::string valid(const std::string& text) {
    const TextPtr copy{g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()))};
    return copy.get();
}

// The generator escapes what JSON demands; the control characters from U+007F to U+009F may stand
// in a document as they are, but would steer a terminal.
std::string without_late_controls(const std::string& document) {
    std::string result;
    for (std::size_t at = 0; at < document.size(); ++at) {
        const auto byte = static_cast<unsigned char>(document[at]);
        const auto next =
            static_cast<unsigned char>(at + 1 < document.size() ? document[at + 1] : 0);
        const bool is_two_bytes = byte == 0xc2 && next >= 0x80 && next < 0xa0;
        if (byte != 0x7f && !is_two_bytes) {
            result += document[at];
            continue;
        }
        constexpr char digits[] = "0123456789abcdef";
        const unsigned code = is_two_bytes ? next : byte;
        result += std::string("\\u00") + digits[code >> 4U] + digits[code & 0xfU];
        at += is_two_bytes ? 1 : 0;
    }
    return result;
}

}  // namespace

JsonWriter::JsonWriter() : builder_(json_builder_new()) {}

JsonWriter::~JsonWriter() {
    g_object_unref(builder_);
}

void JsonWriter::begin_array() {
    json_builder_begin_array(builder_);
}
void JsonWriter::end_array() {
    json_builder_end_array(builder_);
}
void JsonWriter::begin_object() {
    json_builder_begin_object(builder_);
}
void JsonWriter::end_object() {
    json_builder_end_object(builder_);
}
void JsonWriter::name(const std::string& name) {
    json_builder_set_member_name(builder_, name.c_str());
}
void JsonWriter::text(const std::string& text) {
    json_builder_add_string_value(builder_, valid(text).c_str());
}

void JsonWriter::member(const std::string& member_name, const std::string& member_text) {
    name(member_name);
    text(member_text);
}
void JsonWriter::member(const std::string& member_name, const char* member_text) {
    member(member_name, std::string(member_text));
}
void JsonWriter::member(const std::string& member_name, guint64 number) {
    if (number > guint64{G_MAXINT64}) {
        member(member_name, std::to_string(number));
    } else {
        member(member_name, static_cast<gint64>(number));
    }
}
void JsonWriter::member(const std::string& member_name, gint64 number) {
    name(member_name);
    json_builder_add_int_value(builder_, number);
}
void JsonWriter::member(const std::string& member_name, double number) {
    name(member_name);
    json_builder_add_double_value(builder_, number);
}
void JsonWriter::member(const std::string& member_name, bool truth) {
    name(member_name);
    json_builder_add_boolean_value(builder_, truth ? TRUE : FALSE);
}
void JsonWriter::member(const std::string& member_name, const std::vector<std::string>& texts) {
    name(member_name);
    begin_array();
    for (const std::string& item : texts) {
        text(item);
    }
    end_array();
}
void JsonWriter::member_null(const std::string& member_name) {
    name(member_name);
    json_builder_add_null_value(builder_);
}

void JsonWriter::print(Output& out) {
    out.line(generate(true));
}

std::string JsonWriter::one_line() {
    return generate(false);
}

std::string JsonWriter::generate(bool is_pretty) {
    JsonNode* const root = json_builder_get_root(builder_);
    JsonGenerator* const generator = json_generator_new();
    json_generator_set_root(generator, root);
    json_generator_set_pretty(generator, is_pretty ? TRUE : FALSE);
    const TextPtr document{json_generator_to_data(generator, nullptr)};
    g_object_unref(generator);
    json_node_unref(root);
    return without_late_controls(document.get());
}

}  // namespace mox::tool
