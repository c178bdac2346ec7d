// Whether the pool can be mapped where every process has to map it.
#ifndef MOX_TOOL_DOCTOR_ADDRESS_HPP
#define MOX_TOOL_DOCTOR_ADDRESS_HPP

#include <glib.h>

#include <string>

#include "doctor_finding.hpp"

namespace mox::tool {

// Maps a segment of so many bytes at the pool's address for a moment. The process must not have
// attached the pool. bytes: above 0.
Finding check_address(guint64 bytes);

// What is wrong when the attaching failed with an error number. maps: the process's mappings, as
// /proc/self/maps gives them; "" when they are not known. Whoever ends below the pool's address has
// a kernel that gives user space too little.
Finding judge_refused_address(int error, const std::string& maps, guint64 bytes);

}  // namespace mox::tool

#endif
