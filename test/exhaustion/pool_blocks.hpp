// The blocks of the fake pool that somebody can still get at: from the class tree, the classes of
// the registry with their listener ports, the objects and the garbage.
//
//   const PoolBlocks blocks = reachable_pool_blocks();
//   blocks.dangling        pointers of live records to blocks that were freed
//   blocks.unreachable     live blocks that no record points to, and their bytes
//
// One thread; this process owns the pool, and no record is under construction.
#ifndef MOX_TEST_EXHAUSTION_POOL_BLOCKS_HPP
#define MOX_TEST_EXHAUSTION_POOL_BLOCKS_HPP

#include <glib.h>

namespace mox::test {

struct PoolBlocks {
    gsize dangling = 0;
    gsize unreachable = 0;
    gsize unreachable_bytes = 0;
};

PoolBlocks reachable_pool_blocks();

}  // namespace mox::test

#endif
