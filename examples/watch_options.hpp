// The command line of watch_machine.
#ifndef MOX_EXAMPLES_WATCH_OPTIONS_HPP
#define MOX_EXAMPLES_WATCH_OPTIONS_HPP

#include <optional>
#include <string>

namespace mox::examples {

struct WatchOptions {
    std::string run_dir;     // empty: the usual one
    unsigned seconds = 6;    // how long changes are shown
    unsigned owner_pid = 0;  // 0: not known
};

// Reads the command line; nothing, with the cause on standard error, when it is wrong.
std::optional<WatchOptions> parse_options(int argc, char** argv);

}  // namespace mox::examples

#endif
