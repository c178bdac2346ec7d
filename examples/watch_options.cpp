#include "watch_options.hpp"

#include <glib.h>

#include <charconv>
#include <cstdio>
#include <string_view>

namespace mox::examples {
namespace {

constexpr unsigned longest_seconds = 86400;

bool read_number(std::string_view text, unsigned lowest, unsigned highest, unsigned& number) {
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ec == std::errc{} && result.ptr == end && number >= lowest && number <= highest;
}

}  // namespace

std::optional<WatchOptions> parse_options(int argc, char** argv) {
    WatchOptions options;
    for (int i = 1; i < argc; i += 2) {
        const std::string_view name = argv[i];
        const std::string_view value = i + 1 < argc ? argv[i + 1] : "";
        bool is_good = !value.empty();
        if (name == "--run-dir") {
            options.run_dir = value;
        } else if (name == "--seconds") {
            is_good = read_number(value, 1, longest_seconds, options.seconds);
        } else if (name == "--pid") {
            is_good = read_number(value, 1, G_MAXINT32, options.owner_pid);
        } else {
            std::fprintf(stderr,
                         "usage: watch_machine [--run-dir DIR] [--seconds N] [--pid OWNER]\n");
            return std::nullopt;
        }
        if (!is_good) {
            std::fprintf(stderr, "watch_machine: %s has no good value: it is \"%s\"\n", argv[i],
                         std::string{value}.c_str());
            return std::nullopt;
        }
    }
    return options;
}

}  // namespace mox::examples
