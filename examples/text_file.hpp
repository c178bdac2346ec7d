// Text files of /proc and /sys as lines and fields.
#ifndef MOX_EXAMPLES_TEXT_FILE_HPP
#define MOX_EXAMPLES_TEXT_FILE_HPP

#include <optional>
#include <string>
#include <vector>

namespace mox::examples {

// The content of a file; nothing when it cannot be read.
std::optional<std::string> read_text(const std::string& path);

// The lines of a text without their ends.
std::vector<std::string> lines_of(const std::string& text);

// The fields of a line: what stands between blanks.
std::vector<std::string> fields_of(const std::string& line);

}  // namespace mox::examples

#endif
