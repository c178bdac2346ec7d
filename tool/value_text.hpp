// Values of properties as text, in and out.
#ifndef MOX_TOOL_VALUE_TEXT_HPP
#define MOX_TOOL_VALUE_TEXT_HPP

#include <glib.h>

#include <string>

#include "glib_owners.hpp"
#include "json_writer.hpp"

namespace mox::tool {

// A value for people: GVariant text without type annotation, so 95 for any type of number, 'text'
// in quotes, and 0.1 with no more digits than tell it from other numbers. Control characters are
// escaped.
std::string plain_text(GVariant* value);

// A value for programs: GVariant text that g_variant_parse without a type reads back as the same
// value of the same type, as "uint32 95".
std::string exact_text(GVariant* value);

// Gives the members "type" and "value" of the object that is being written.
void add_value(JsonWriter& json, GVariant* value);

// Reads a value of a type. text: GVariant text for this type, so that 95 is a value of every type
// of numbers. For the type "s", a text that is no GVariant text stands for itself, unless it begins
// with a quotation mark: then a missing end would go unnoticed. Throws Failed, with the place of
// the fault. place: what the value is for, as OBJECT.PROPERTY, for the message.
VariantPtr value_of_text(const std::string& text, const std::string& type,
                         const std::string& place);

// What the parser of GVariant text says of a text, "0-3:cause" with places counted from 0, in
// words. A place beyond the text's end, which it may give, is left out.
std::string cause_of(const std::string& message, const std::string& text);

// A type in words: "u" gives "32-bit unsigned number"; "" for a type without a word of its own.
std::string type_words(const std::string& type);

}  // namespace mox::tool

#endif
