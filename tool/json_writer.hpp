// One JSON document, for programs.
//
// What holds: nothing is lost. Whole numbers keep all digits: json-glib's are signed with 64 bits,
// so one above 9223372036854775807 is written as a string of its digits. Values of properties are
// strings in GVariant text with type annotation, beside their type (value_text.hpp). Characters
// that could steer a terminal are escaped.
#ifndef MOX_TOOL_JSON_WRITER_HPP
#define MOX_TOOL_JSON_WRITER_HPP

#include <json-glib/json-glib.h>

#include <memory>
#include <string>
#include <vector>

#include "output.hpp"

namespace mox::tool {

// Builds in the order of the calls, as: begin_object(), member(...)..., end_object(). Names and
// texts are UTF-8; bytes that are none are replaced by U+FFFD.
class JsonWriter {
public:
    JsonWriter();
    ~JsonWriter();
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;

    void begin_array();
    void end_array();
    void begin_object();
    void end_object();
    // Names the member that the next call gives: a begin_ call, or a bare text.
    void name(const std::string& name);
    void text(const std::string& text);

    void member(const std::string& name, const std::string& text);
    void member(const std::string& name, const char* text);
    void member(const std::string& name, guint64 number);
    void member(const std::string& name, gint64 number);
    void member(const std::string& name, guint32 number) { member(name, guint64{number}); }
    void member(const std::string& name, gint32 number) { member(name, gint64{number}); }
    void member(const std::string& name, double number);
    void member(const std::string& name, bool truth);
    void member(const std::string& name, const std::vector<std::string>& texts);
    void member_null(const std::string& name);

    // Prints the document over several lines, indented; once, as the last call.
    void print(Output& out);
    // The document as one line without an end, for a stream of objects; once, as the last call.
    std::string one_line();

private:
    std::string generate(bool is_pretty);

    JsonBuilder* builder_;
};

}  // namespace mox::tool

#endif
