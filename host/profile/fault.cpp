// Texts of faults: whatever a profile contains, a fault is one line of bounded length.
#include "profile/fault.hpp"

#include <cstdio>

namespace mox::host {
namespace {

constexpr std::size_t longest_quote = 80;

bool is_continuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

}  // namespace

void Faults::add(const std::string& place, const std::string& cause) {
    list_.push_back({place, cause});
    places_.insert(place);
}

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (result.size() > longest_quote && !is_continuation(text[at])) {
            return result + "...\"";
        }
        if (byte < 0x20U || byte == 0x7FU) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", static_cast<unsigned>(byte));
            result += escape;
        } else {
            result += text[at];
        }
    }
    return result + '"';
}

std::string place_in(const std::string& list, std::size_t index) {
    return list + '[' + std::to_string(index) + ']';
}

std::string place_in(const std::string& list, std::size_t index, std::string_view name) {
    return name.empty() ? place_in(list, index) : place_in(list, index) + ' ' + quoted(name);
}

}  // namespace mox::host
