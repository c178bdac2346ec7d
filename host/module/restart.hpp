// Executing the program anew when a new owner is there: what joining and leaving have to tell it.
// All of it is for the thread that joined.
#ifndef MOXHOST_MODULE_RESTART_HPP
#define MOXHOST_MODULE_RESTART_HPP

#include <moxhost/moxhost.h>

#include <string>

namespace mox::host {

// Notes a join: where the owner is looked for later. The caller's thread-default main context is
// the one in which that happens.
void note_joined(MoxHostModule* module, const std::string& run_dir);

// Notes that the connection ended before the module left.
void note_connection_lost();

// Notes that the module leaves: nothing is looked for any more, and nothing executed.
void note_leaving();

// How long a join of this process waits for an owner that is not quite there: 0 unless the program
// was executed anew.
gint64 join_patience_us();

// Whether waiting can help against what a join failed with.
bool may_pass(const GError& failure);

}  // namespace mox::host

#endif
