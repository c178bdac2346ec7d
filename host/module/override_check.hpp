// Whether this process may override by itself what the owner's profile keeps from it.
#ifndef MOXHOST_MODULE_OVERRIDE_CHECK_HPP
#define MOXHOST_MODULE_OVERRIDE_CHECK_HPP

#include <glib.h>

namespace mox::host {

// Has the owner asked before each override, and before each end of one, that this process does by
// itself, when the owner's profile limits them. False with error set.
bool install_override_check(GError** error);
void remove_override_check();

}  // namespace mox::host

#endif
