// The command line of value_steps.
#ifndef MOX_EXAMPLES_STEP_OPTIONS_HPP
#define MOX_EXAMPLES_STEP_OPTIONS_HPP

#include <optional>
#include <string>

namespace mox::examples {

enum class Step { listen, change, after_restart };

struct StepOptions {
    Step step = Step::change;
    std::string run_dir;       // empty: the usual one
    std::string setting_file;  // the file behind the setting; not empty for the step "change"
};

// Reads the command line; nothing, with the cause on standard error, when it is wrong.
std::optional<StepOptions> parse_step_options(int argc, char** argv);

}  // namespace mox::examples

#endif
