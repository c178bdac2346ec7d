// The hooks through which the object store of this process reaches the owner.
#ifndef MOXHOST_MODULE_OBJECT_HOOKS_HPP
#define MOXHOST_MODULE_OBJECT_HOOKS_HPP

#include <glib.h>

namespace mox::host {

// Installs the copy function, the remote hardware read and the storing of values beyond their room.
// pool_bytes: the pool's size. module_id: this module's bit. At the join.
void install_object_hooks(guint64 pool_bytes, gint32 module_id);

// Takes them out. At the end; no other thread uses the object store then.
void remove_object_hooks();

}  // namespace mox::host

#endif
