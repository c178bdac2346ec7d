#include "object_names.hpp"

#include <cctype>
#include <cstddef>

namespace mox::examples {
namespace {

constexpr std::size_t longest_name = 31;

std::string safe(std::string name) {
    for (char& character : name) {
        const bool fits =
            std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '-';
        if (!fits) character = '_';
    }
    return name.empty() ? "_" : name;
}

}  // namespace

std::string ObjectNames::take(const std::string& wish) {
    const std::string whole = safe(wish);
    std::string name = whole.substr(0, longest_name);
    for (unsigned number = 2; !taken_.insert(name).second; ++number) {
        const std::string suffix = "_" + std::to_string(number);
        name = whole.substr(0, longest_name - suffix.size()) + suffix;
    }
    return name;
}

}  // namespace mox::examples
