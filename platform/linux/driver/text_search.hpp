// Finds a field, a line or a named line in the text of a file. A field is a run of characters
// between blanks; every view returned lies in the text that was passed in.
#ifndef MOXPLAT_LINUX_DRIVER_TEXT_SEARCH_HPP
#define MOXPLAT_LINUX_DRIVER_TEXT_SEARCH_HPP

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox::driver {

// The text without the blanks (space, tab, line ends, form feeds) at its two ends.
std::string_view strip(std::string_view text);

// Takes the first field off `text`; empty when there is none.
std::string_view take_field(std::string_view& text);

// The field of the given number, counted from 1.
std::optional<std::string_view> nth_field(std::string_view text, std::uint32_t number);

// The line of the given number, counted from 1; the part behind the last line end counts when it is
// not empty.
std::optional<std::string_view> nth_line(std::string_view text, std::uint32_t number);

// The words of a line's name, without the colon at its end.
std::vector<std::string> words_of_line_name(std::string_view name);

// What stands behind the name in the first line whose first fields are these words. A colon right
// behind the last word, with or without blanks between, belongs to the name.
std::optional<std::string_view> after_line_name(std::string_view text,
                                                const std::vector<std::string>& words);

// The text up to its last blank: what is left has no field that was cut in two.
std::string_view without_cut_field(std::string_view text);

}  // namespace mox::driver

#endif
