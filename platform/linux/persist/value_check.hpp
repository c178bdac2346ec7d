// Whether bytes are a value of the type that they claim.
//
// What holds: whatever passes here may be laid under a trusted variant of that type.
#ifndef MOXPLAT_LINUX_PERSIST_VALUE_CHECK_HPP
#define MOXPLAT_LINUX_PERSIST_VALUE_CHECK_HPP

#include <glib.h>

namespace mox::persist {

// The largest value that is kept.
inline constexpr guint32 largest_value = 16U << 20;

// True for the persisted form of a type string: at most 5 characters, a basic type or an array; or
// "rp", "ro" (a marked string), "rpa", "roa" (marked strings). type: not null.
bool is_persisted_type(const gchar* type);

enum class ValueCheck { good, bad, out_of_memory };

// Says whether `size` bytes at `data`, aligned or not, are a value of the type in normal form.
// type: is_persisted_type holds. data: null only with size 0. size: at most largest_value.
ValueCheck check_value(const gchar* type, guint32 size, gconstpointer data);

}  // namespace mox::persist

#endif
