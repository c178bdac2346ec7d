// The hooks through which the object store of this process reaches the owner.
#ifndef MOXHOST_MODULE_OBJECT_HOOKS_HPP
#define MOXHOST_MODULE_OBJECT_HOOKS_HPP

#include <glib.h>

namespace mox::host {

// Installs the copy function and the remote hardware read. pool_bytes: the pool's size. Once. They
// stay for the process's life: without a connection they find nothing.
void install_object_hooks(guint64 pool_bytes);

}  // namespace mox::host

#endif
