// The bytes of a profile's file.
#ifndef MOXHOST_PROFILE_PROFILE_FILE_HPP
#define MOXHOST_PROFILE_PROFILE_FILE_HPP

#include <string>

namespace mox::host {

// Reads the whole file. Throws a Fault for anything that is not a readable regular file of 1 to
// max_profile_bytes bytes; never waits for a pipe or a device.
std::string read_profile_file(const std::string& path);

}  // namespace mox::host

#endif
