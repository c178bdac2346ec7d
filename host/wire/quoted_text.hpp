// Text in quotes inside a value's GVariant text, before GLib's parser sees it.
#ifndef MOXHOST_WIRE_QUOTED_TEXT_HPP
#define MOXHOST_WIRE_QUOTED_TEXT_HPP

#include <cstddef>
#include <string>

namespace mox::host::wire {

// The end of the text in quotes that begins at a place, behind its closing quote.
std::size_t end_of_quoted(const std::string& text, std::size_t at);

// The first escape in quotes that stands for no character, "" when there is none. GLib's parser
// does not survive one, so every text from outside is looked at first.
std::string bad_escape(const std::string& text);

}  // namespace mox::host::wire

#endif
