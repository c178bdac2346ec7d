// Whether what came out of a queue is a message.
#ifndef MOXHOST_MODULE_MESSAGE_CHECK_HPP
#define MOXHOST_MODULE_MESSAGE_CHECK_HPP

#include <glib.h>

namespace mox::host {

// bytes: as received, aligned as the heap aligns. Returns null for a message whose header and
// payload hold together: magic, version, type, length, and the sizes and texts inside the payloads
// of the events; otherwise what is wrong with it.
const char* message_fault(gconstpointer bytes, gsize size);

}  // namespace mox::host

#endif
