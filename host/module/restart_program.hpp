// The program of this process as it was started, and its execution anew in the same process.
#ifndef MOXHOST_MODULE_RESTART_PROGRAM_HPP
#define MOXHOST_MODULE_RESTART_PROGRAM_HPP

#include <glib.h>

#include <string>
#include <vector>

namespace mox::host {

// What a process knows of the lives before this one.
struct Restarts {
    guint count = 0;        // how often the program was executed anew
    guint short_lives = 0;  // how many lives up to now lost their owner soon, in a row; bounded
};

// This process's: noted when the library was loaded. Processes that this one starts do not inherit
// it.
const Restarts& restarts();

// What is executed: a path, and the arguments from the program's name on.
struct Program {
    std::string path;
    std::vector<std::string> arguments;
};

// The program that this process executes. Returns an empty string, or the cause and what to do.
std::string read_program(Program& program);

// Executes it in place of the running one, with the environment of now; with the working directory,
// the blocked and the ignored signals of the time at which the library was loaded. Returns only
// when that failed: the cause; the process is then as it was before.
std::string execute_anew(const Program& program, const Restarts& next);

}  // namespace mox::host

#endif
