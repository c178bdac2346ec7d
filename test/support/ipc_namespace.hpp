// A System V namespace of the test process's own: the pool's key and address are fixed, so without
// it two tests, or a test and a running system, would meet.
#ifndef MOX_TEST_IPC_NAMESPACE_HPP
#define MOX_TEST_IPC_NAMESPACE_HPP

#include <string>

namespace mox::test {

// Moves the calling process, which must have one thread, into a fresh namespace and raises the
// message limits in it. Returns an empty string, or what failed; then nothing was changed in the
// namespace of the machine.
std::string enter_ipc_namespace();

}  // namespace mox::test

#endif
