#include "text_file.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <sstream>

namespace mox::examples {

std::optional<std::string> read_text(const std::string& path) {
    // O_NONBLOCK: no file of any kind makes us wait.
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return std::nullopt;
    std::string text;
    std::array<char, 16384> part;
    ssize_t count = 0;
    while ((count = read(descriptor, part.data(), part.size())) > 0) {
        text.append(part.data(), static_cast<std::size_t>(count));
    }
    close(descriptor);
    return count < 0 ? std::nullopt : std::optional<std::string>{text};
}

std::vector<std::string> lines_of(const std::string& text) {
    std::istringstream stream{text};
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::vector<std::string> fields_of(const std::string& line) {
    std::istringstream stream{line};
    std::vector<std::string> fields;
    for (std::string field; stream >> field;) fields.push_back(field);
    return fields;
}

}  // namespace mox::examples
