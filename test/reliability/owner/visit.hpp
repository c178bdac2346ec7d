// What a visitor does in front of an owner that is about to be killed.
#ifndef MOX_KILL_OWNER_VISIT_HPP
#define MOX_KILL_OWNER_VISIT_HPP

#include <string>
#include <string_view>

namespace mox::kill_owner {

// Before the name of an operation: the visitor has the lock that the owner needs for it, and gives
// it up when it is wanted.
inline constexpr std::string_view locked_prefix = "locked-";

// operation: join, copy, leave, plug, unplug, refresh, apply, grow, set, override, restore; full or
// clean-up, after whose preparation it is stopped or killed; locked-refresh, locked-apply,
// locked-set. Does what has to come before it, says that it is ready, waits until it is wanted,
// does it and says that it is done. An owner that goes meanwhile is no failure. Returns the exit
// status; 1 for an owner that refused.
int visit(const char* run_dir, const std::string& operation);

}  // namespace mox::kill_owner

#endif
