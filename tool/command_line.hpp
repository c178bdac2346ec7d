// The command line: moxctl [OPTION...] VERB [OPTION...] [ARGUMENT...].
//
// What holds: the framework's options may stand before or behind the verb, a verb's own behind it
// only. Everything is checked here before a verb runs; what is wrong throws WrongUsage.
#ifndef MOX_TOOL_COMMAND_LINE_HPP
#define MOX_TOOL_COMMAND_LINE_HPP

#include <string>
#include <vector>

#include "verb.hpp"

namespace mox::tool {

struct CommandLine {
    const Verb* verb = nullptr;  // null: a text is wanted, not a verb
    std::string wanted_text;     // of --help or --version
    std::vector<std::string> arguments;
    std::string run_dir;
    bool wants_json = false;
    bool wants_log = false;
};

// Reads a command line. hint: receives the command whose --help tells more, also when this throws.
CommandLine read_command_line(int argc, char** argv, std::string& hint);

// The options of a verb, the framework's included, as they are typed: "--json", "-j",
// "--run-dir DIR". verb: null gives those that may stand before a verb.
std::vector<std::string> option_names(const Verb* verb);

}  // namespace mox::tool

#endif
