// Where owner and modules meet, and where the owner keeps what it saves.
#ifndef MOXHOST_WIRE_RUN_DIRECTORY_HPP
#define MOXHOST_WIRE_RUN_DIRECTORY_HPP

#include <string>

namespace mox::host::wire {

// The directory that was asked for, or without one $MOX_RUN_DIR, $XDG_RUNTIME_DIR/moxd, /run/moxd:
// the first that is set. wanted: nullable.
std::string run_directory(const char* wanted);

// Where a program that joins finds the owner: as run_directory, but when nobody chose and no
// owner's socket lies in $XDG_RUNTIME_DIR/moxd, then in the system's directory if one lies there.
// So a session of its own sees the owner that the machine started.
std::string owner_directory(const char* wanted, const std::string& of_system = "/run/moxd");

// The directory that was asked for, or without one $MOX_STATE_DIR, $XDG_STATE_HOME/moxd,
// /var/lib/moxd for root, ~/.local/state/moxd: the first that is set. wanted: nullable.
std::string state_directory(const char* wanted);

std::string socket_path(const std::string& run_directory);

// The socket's D-Bus address; "" when the path is too long for a socket.
std::string socket_address(const std::string& run_directory);

}  // namespace mox::host::wire

#endif
