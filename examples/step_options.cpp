#include "step_options.hpp"

#include <cstdio>
#include <string_view>

namespace mox::examples {
namespace {

std::optional<Step> step_of(std::string_view name) {
    if (name == "listen") return Step::listen;
    if (name == "change") return Step::change;
    if (name == "after-restart") return Step::after_restart;
    return std::nullopt;
}

std::nullopt_t refuse(const char* cause) {
    std::fprintf(stderr,
                 "value_steps: %s\n"
                 "usage: value_steps --step listen|change|after-restart [--run-dir DIR]\n"
                 "                   [--setting-file FILE]\n",
                 cause);
    return std::nullopt;
}

}  // namespace

std::optional<StepOptions> parse_step_options(int argc, char** argv) {
    StepOptions options;
    std::optional<Step> step;
    for (int i = 1; i < argc; i += 2) {
        const std::string_view name = argv[i];
        const std::string_view value = i + 1 < argc ? argv[i + 1] : "";
        if (value.empty()) return refuse("an option has no value");
        if (name == "--step") {
            step = step_of(value);
            if (!step) return refuse("there is no such step");
        } else if (name == "--run-dir") {
            options.run_dir = value;
        } else if (name == "--setting-file") {
            options.setting_file = value;
        } else {
            return refuse("there is no such option");
        }
    }
    if (!step) return refuse("--step is missing");
    options.step = *step;
    if (options.step == Step::change && options.setting_file.empty()) {
        return refuse("the step \"change\" needs --setting-file");
    }
    return options;
}

}  // namespace mox::examples
