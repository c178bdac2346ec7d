// What a visitor does in front of an owner that is about to be killed.
#ifndef MOX_KILL_OWNER_VISIT_HPP
#define MOX_KILL_OWNER_VISIT_HPP

#include <string>

namespace mox::kill_owner {

// operation: join, copy, leave, plug, unplug, refresh. Does what has to come before it, says that
// it is ready, waits until it is wanted, does it and says that it is done. An owner that goes
// meanwhile is no failure. Returns the exit status; 1 for an owner that refused.
int visit(const char* run_dir, const std::string& operation);

}  // namespace mox::kill_owner

#endif
