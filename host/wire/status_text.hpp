// Status codes in words.
#ifndef MOXHOST_WIRE_STATUS_TEXT_HPP
#define MOXHOST_WIRE_STATUS_TEXT_HPP

#include <glib.h>

#include <string>

namespace mox::host::wire {

// "code -2014 (not permitted: ...)" for a code of the object store, the driver library, the
// persistence library or the operating-system layer.
std::string status_text(gint32 status);

}  // namespace mox::host::wire

#endif
