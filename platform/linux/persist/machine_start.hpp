// Which start of the machine this is.
#ifndef MOXPLAT_LINUX_PERSIST_MACHINE_START_HPP
#define MOXPLAT_LINUX_PERSIST_MACHINE_START_HPP

#include <string>

namespace mox::persist {

// A text that is another one after each start of the machine; empty when the kernel does not tell,
// which is logged.
std::string machine_start();

}  // namespace mox::persist

#endif
