// Saving and reading back in a module process: the owner's store does it.
#ifndef MOXHOST_MODULE_STORE_HOOKS_HPP
#define MOXHOST_MODULE_STORE_HOOKS_HPP

namespace mox::host {

// Installs the hooks of the object store and has this process's persistence library hand its calls
// on. At the join.
void install_store_hooks();

// Takes them out. At the end; no other thread uses the object store then.
void remove_store_hooks();

}  // namespace mox::host

#endif
