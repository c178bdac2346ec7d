// The owner's pool in this process.
#ifndef MOXHOST_MODULE_POOL_ATTACH_HPP
#define MOXHOST_MODULE_POOL_ATTACH_HPP

#include <glib.h>

#include <string>

namespace mox::host {

// Maps the pool and makes sure that it is the owner's and lies at its address. pool_id, pool_bytes:
// the owner's segment. Sets the environment's pool size when it differs. Returns an empty string,
// or the cause and what to do.
std::string attach_pool(gint32 pool_id, guint64 pool_bytes);

// Whether length bytes at the pointer lie in a pool of that size.
bool lies_in_pool(gconstpointer pointer, gsize length, guint64 pool_bytes);

}  // namespace mox::host

#endif
