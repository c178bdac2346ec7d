// What holds here: nothing is copied, every character is looked at a bounded number of times.
#include "text_search.hpp"

namespace mox::driver {
namespace {

constexpr std::string_view blanks = " \t\n\r\v\f";

// Takes the first line off `text`, without its line end.
std::string_view take_line(std::string_view& text) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

std::string_view without_colon(std::string_view word) {
    if (!word.empty() && word.back() == ':') {
        word.remove_suffix(1);
    }
    return word;
}

// Takes the words off the line; false when they are not its first fields.
bool take_words(std::string_view& line, const std::vector<std::string>& words) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string_view field = take_field(line);
        const bool is_last = i + 1 == words.size();
        if ((is_last ? without_colon(field) : field) != words[i]) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::string_view strip(std::string_view text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

std::string_view take_field(std::string_view& text) {
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        text = {};
        return {};
    }
    text.remove_prefix(first);
    const std::string_view field = text.substr(0, text.find_first_of(blanks));
    text.remove_prefix(field.size());
    return field;
}

std::optional<std::string_view> nth_field(std::string_view text, std::uint32_t number) {
    for (std::uint32_t i = 1;; ++i) {
        const std::string_view field = take_field(text);
        if (field.empty()) {
            return std::nullopt;
        }
        if (i == number) {
            return field;
        }
    }
}

std::optional<std::string_view> nth_line(std::string_view text, std::uint32_t number) {
    for (std::uint32_t i = 1; !text.empty(); ++i) {
        const std::string_view line = take_line(text);
        if (i == number) {
            return line;
        }
    }
    return std::nullopt;
}

std::vector<std::string> words_of_line_name(std::string_view name) {
    name = strip(without_colon(strip(name)));
    std::vector<std::string> words;
    for (std::string_view word = take_field(name); !word.empty(); word = take_field(name)) {
        words.emplace_back(word);
    }
    return words;
}

std::optional<std::string_view> after_line_name(std::string_view text,
                                                const std::vector<std::string>& words) {
    while (!text.empty()) {
        std::string_view line = take_line(text);
        if (!take_words(line, words)) {
            continue;
        }
        std::string_view behind = line;
        return take_field(behind) == ":" ? behind : line;
    }
    return std::nullopt;
}

std::string_view without_cut_field(std::string_view text) {
    const std::size_t last = text.find_last_of(blanks);
    return last == std::string_view::npos ? std::string_view{} : text.substr(0, last);
}

}  // namespace mox::driver
