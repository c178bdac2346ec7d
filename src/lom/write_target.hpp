// Where a write, a save or a read-back ends up: the property that is named, or the one that a chain
// of reference properties leads to. Every object on the way must be writable in this process.
#ifndef MOX_LOM_WRITE_TARGET_HPP
#define MOX_LOM_WRITE_TARGET_HPP

#include <lom/object.h>

#include "lom/object_ref.hpp"
#include "lom/reference_path.hpp"

namespace mox {

struct WriteTarget {
    ObjectRef object;
    OBJ_HANDLE handle = 0;
    SERIALISED_PROPERTY_S* property = nullptr;
    const gchar* name = nullptr;  // as the caller or the last reference gave it, prefix included
    ReferenceTarget path;         // where name points to behind a reference
};

// What a walk refuses beside objects that are not writable.
enum class Walk {
    kWrite,    // overridden properties; a missing name is a property that is not found
    kSave,     // overridden properties; a missing name or object is a bad argument, an empty
               // reference an internal failure
    kReadBack  // the same but overridden properties
};

// Finds it; the checks of every step are made in the established order, since what is checked first
// decides which code a caller sees. Returns 0; MOX_ERR_BAD_ARGUMENT; MOX_ERR_OBJECT_NOT_FOUND;
// MOX_ERR_NOT_PERMITTED; MOX_ERR_PROPERTY_NOT_FOUND; MOX_ERR_INTERNAL; MOX_ERR_OVERRIDDEN;
// MOX_ERR_SEMAPHORE.
gint32 find_write_target(OBJ_HANDLE obj_handle, const gchar* property_name, Walk walk,
                         WriteTarget& target);

}  // namespace mox

#endif
