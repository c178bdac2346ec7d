// A hook's call to the owner: what goes wrong with the call itself is logged, because a hook has
// only a code to answer with.
#ifndef MOXHOST_MODULE_HOOK_CALL_HPP
#define MOXHOST_MODULE_HOOK_CALL_HPP

#include "module/owner_link.hpp"

namespace mox::host {

// Text that a message can carry.
bool is_utf8(const gchar* text);

// The owner's reply, or null after a log line. arguments: a floating tuple. Any thread; bounded in
// time.
VariantPtr ask(const char* method, GVariant* arguments, const char* reply_type);

// The status that is the whole reply; MOX_ERR_INTERNAL when there is none.
gint32 ask_status(const char* method, GVariant* arguments);

}  // namespace mox::host

#endif
