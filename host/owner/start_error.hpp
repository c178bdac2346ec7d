// Why the owner cannot start, in one line. Thrown while it starts; what was made until then is
// removed on the way out.
#ifndef MOXHOST_OWNER_START_ERROR_HPP
#define MOXHOST_OWNER_START_ERROR_HPP

#include <string>

namespace mox::host {

struct StartError {
    std::string cause;
};

}  // namespace mox::host

#endif
