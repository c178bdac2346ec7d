// A strict look at a text before the JSON parser sees it. The parser behind it takes comments,
// several documents, repeated members (the last one wins), characters behind a NUL, numbers that
// overflow, and nesting until the stack is used up; none of that may pass silently.
#ifndef MOXHOST_PROFILE_JSON_TEXT_HPP
#define MOXHOST_PROFILE_JSON_TEXT_HPP

#include <string_view>

namespace mox::host {

inline constexpr int max_json_depth = 32;

// Throws a Fault whose place is "line L, column C" (both from 1, columns in characters) unless the
// text is one JSON document in UTF-8 whose whole numbers fit 64 signed bits and whose objects name
// no member twice.
void check_json_text(std::string_view text);

}  // namespace mox::host

#endif
