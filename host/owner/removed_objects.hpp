// Objects that are removed from the model while modules may still have copies of them.
#ifndef MOXHOST_OWNER_REMOVED_OBJECTS_HPP
#define MOXHOST_OWNER_REMOVED_OBJECTS_HPP

#include <glib.h>

#include <cstddef>
#include <vector>

#include "profile/profile.hpp"

namespace mox::host {

// Garbage is not in the object table any more, so the bits of a module that is gone are cleared
// here. Objects that were removed together are freed together: one may have the semaphore that
// others share. For the thread of the main loop only.
class RemovedObjects {
public:
    // Takes objects in that are about to be removed together.
    void note(const std::vector<const ObjectDef*>& objects);

    // Clears the bits of a module that is gone.
    void release(gint32 bitmap_id);

    // Frees the garbage of which no module has a copy any more.
    void reclaim();

    // How many objects are removed and not freed yet.
    std::size_t count() const;

private:
    // In the pool, of garbage that is not freed; those of one removal together.
    using Bitmaps = std::vector<guint32*>;
    std::vector<Bitmaps> removals_;
};

}  // namespace mox::host

#endif
