// The verb doctor: can this machine run an owner and its modules.
#ifndef MOX_TOOL_DOCTOR_HPP
#define MOX_TOOL_DOCTOR_HPP

#include <string>
#include <vector>

#include "doctor_finding.hpp"

namespace mox::tool {

// All findings, in a fixed order. run_dir, state_dir: absolute. limits: the directory of the
// limits' files. The process must not have joined an owner.
std::vector<Finding> examine(const std::string& run_dir, const std::string& state_dir,
                             const std::string& limits);

}  // namespace mox::tool

#endif
