#include "wire/quoted_text.hpp"

#include <glib.h>

#include <algorithm>
#include <cstdlib>

namespace mox::host::wire {

std::size_t end_of_quoted(const std::string& text, std::size_t at) {
    const char quote = text[at++];
    while (at < text.size() && text[at] != quote) {
        at += std::size_t{text[at] == '\\' ? 2U : 1U};
    }
    return std::min(at + 1, text.size());
}

std::string bad_escape(const std::string& text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '\'' && text[at] != '"') continue;
        const std::size_t end = end_of_quoted(text, at);
        while (++at < end - 1) {
            if (text[at] != '\\') continue;
            const char kind = text[++at];
            const std::size_t digits = kind == 'u' ? 4 : kind == 'U' ? 8 : 0;
            const std::string number = text.substr(at + 1, digits);
            const bool is_whole = number.find_first_not_of("0123456789abcdefABCDEF") == number.npos;
            if (digits != 0 && is_whole &&
                g_unichar_validate(
                    static_cast<gunichar>(std::strtoul(number.c_str(), nullptr, 16))) == FALSE) {
                return std::string("\\") + kind + number;
            }
        }
    }
    return "";
}

}  // namespace mox::host::wire
