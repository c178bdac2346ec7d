// Whether an owner of this user could use its directories.
#ifndef MOX_TOOL_DOCTOR_DIRECTORIES_HPP
#define MOX_TOOL_DOCTOR_DIRECTORIES_HPP

#include <string>

#include "doctor_finding.hpp"

namespace mox::tool {

// It must be this user's and nobody else's to write in, or one that can be made, and its socket's
// path short enough. Nothing is made. path: absolute.
Finding check_run_directory(const std::string& path);

// It must be one in which this user can make files, or one that can be made with its parents;
// without it nothing lasting is saved. Nothing is made. path: absolute.
Finding check_state_directory(const std::string& path);

}  // namespace mox::tool

#endif
