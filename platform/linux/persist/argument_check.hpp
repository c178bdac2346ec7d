// The checks that every call makes before anything is looked up, stored or handed to another
// process.
#ifndef MOXPLAT_LINUX_PERSIST_ARGUMENT_CHECK_HPP
#define MOXPLAT_LINUX_PERSIST_ARGUMENT_CHECK_HPP

#include <moxplat/persist.h>

namespace mox::persist {

// A name is not null, not empty, UTF-8 and at most 255 bytes long.
bool is_name(const gchar* name);

// True for the three modes under which values are kept.
bool is_mode(PER_MODE_E mode);

// PER_OK, or PER_ERROR_PARA_0_INVALID or _1_ for the first of the two that is no name.
gint32 check_names(const gchar* object_name, const gchar* name);

// PER_OK, the code of the first argument of a save that is not valid, or PER_ERROR_MALLOC_FAIL.
gint32 check_save(const gchar* object_name, const gchar* name, const gchar* type, guint32 size,
                  gconstpointer data, PER_MODE_E mode);

}  // namespace mox::persist

#endif
