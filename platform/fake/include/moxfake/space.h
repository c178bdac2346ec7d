// Control of the fake space allocator: every block is a heap block of its exact size, so that a
// sanitizer sees an access beyond its end or after its release. The region itself is never touched.
//
// Any thread may call; reset() only while no other thread uses the allocator. Plans count from the
// moment they are made: n = 1 is the next call.
#ifndef MOXFAKE_SPACE_H
#define MOXFAKE_SPACE_H

#include <moxplat/space.h>

namespace mox::fake::space {

// Frees every live block and forgets spaces, counts and plans.
void reset();

// The n-th allocation from now gives null; it and all later ones do; every allocation does until
// fail_allocations(false), which ends the one before, too.
void fail_allocation(guint n);
void fail_allocations_from(guint n);
void fail_allocations(bool fail);
// The next shm_creat_space gives null.
void fail_creation();

// What is allocated now, over all spaces: blocks, bytes asked for, one block's bytes (0 when it is
// not live).
gsize live_blocks();
gsize live_bytes();
bool is_live(gconstpointer block);
gsize size_of(gconstpointer block);

// Calls since reset(): allocations that succeeded, that gave null, releases that succeeded, and
// releases of a pointer that was not a live block of that space (a test's tear-down expects none).
gsize allocations();
gsize failed_allocations();
gsize releases();
gsize bad_releases();

// What the last shm_creat_space was called with; zeros before the first.
struct Creation {
    gpointer base = nullptr;
    gsize size = 0;
    gint32 locked = 0;
};
Creation last_creation();

}  // namespace mox::fake::space

#endif
