// A value's copy, for a message.
#ifndef MOXHOST_WIRE_VALUE_COPY_HPP
#define MOXHOST_WIRE_VALUE_COPY_HPP

#include <glib.h>

namespace mox::host::wire {

// A new floating value of the same type with the bytes of value's normal form. value: not null; its
// references and whether it floats stay as they are, so a message cannot take the caller's value.
GVariant* copy_value(GVariant* value);

}  // namespace mox::host::wire

#endif
