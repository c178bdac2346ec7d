// A verb of moxctl, and what it is called with.
//
// What holds: a process runs one verb, once, in one thread; so the storage behind a verb's option
// table may be static. A verb returns when the thing asked for is done, and throws otherwise; what
// it printed before stays printed. Verbs only read the model unless their summary says what they
// change.
#ifndef MOX_TOOL_VERB_HPP
#define MOX_TOOL_VERB_HPP

#include <glib.h>

#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "output.hpp"

namespace mox::tool {

// The exit codes of moxctl.
enum class ExitCode { done = 0, failed = 1, wrong_usage = 2 };

// The thing asked for failed. One line: what, where, why, what to do. main prints it behind
// "moxctl: " on the error output and ends with ExitCode::failed.
class Failed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The command line is wrong in a way that the framework cannot see (it checks options and the
// number of arguments itself). main prints it behind "moxctl: ", with a hint at the verb's --help,
// and ends with ExitCode::wrong_usage.
class WrongUsage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What a verb is called with.
struct Call {
    std::vector<std::string> arguments;  // behind the options; their number fits the verb
    std::string run_dir;                 // of --run-dir; "" means where the library looks by itself
    bool wants_json = false;             // of --json
    Output& out;                         // standard output; flushed by main when the verb returns
};

// What stands in arguments of a verb that takes as many as there are.
inline constexpr std::size_t any_number = std::numeric_limits<std::size_t>::max();

// One verb. Help, completion and man pages are made from and checked against this.
struct Verb {
    const char* name;
    const char* arguments;    // as in "OBJECT PROPERTY...", "" for none
    const char* summary;      // one line for moxctl --help, without a full stop
    const char* description;  // for moxctl VERB --help: lines of at most 79 characters
    const char* example;      // command lines, one each line
    std::size_t fewest = 0;   // arguments
    std::size_t most = 0;
    // The last argument is a value: "-5" there is a number, not an option.
    bool takes_value = false;
    // The verb's own options, ending with an empty entry; null for none. --run-dir, --json, --log
    // and --help are the framework's. Texts that name something of the model are read with
    // G_OPTION_ARG_FILENAME: it takes the bytes as they are in every locale.
    const GOptionEntry* options = nullptr;
    void (*run)(Call& call) = nullptr;
    // Not listed: for the shell's completion.
    bool is_hidden = false;
};

// All verbs, in the order of moxctl --help.
std::span<const Verb* const> all_verbs();

// The verb of a name; null when there is none.
const Verb* find_verb(const std::string& name);

}  // namespace mox::tool

#endif
