// The pool's segment in the system: finding one that is there already, and making and removing the
// owner's own.
#ifndef MOXHOST_OWNER_POOL_SEGMENT_HPP
#define MOXHOST_OWNER_POOL_SEGMENT_HPP

#include <moxplat/space.h>
#include <sys/types.h>

#include <cstdint>

namespace mox::host {

enum class PoolState {
    none,
    stale,  // its owner is gone
    owned   // its owner lives
};

struct FoundPool {
    PoolState state = PoolState::none;
    int id = -1;
    pid_t owner = 0;
};

// Looks for a segment under the pool's key and judges its creator.
FoundPool find_pool();

// Removes a stale segment; processes that still have it mapped keep the memory. Throws a StartError
// when the system refuses.
void remove_stale_pool(const FoundPool& pool);

// Whom a System V object is for besides root: its maker's user alone, or its maker's group, too.
enum class Reach { user, group };

// This process's pool: made by the constructor, removed by the destructor. Marks the process as the
// pool's owner.
class OwnPool {
public:
    // Throws a StartError when it cannot be made or mapped at its address, or when somebody else
    // mapped it before its modes were narrowed.
    explicit OwnPool(Reach reach);
    ~OwnPool();
    OwnPool(const OwnPool&) = delete;
    OwnPool& operator=(const OwnPool&) = delete;

    int id() const { return id_; }
    std::uint64_t bytes() const { return bytes_; }

private:
    void narrow(Reach reach) const;

    int id_ = -1;
    std::uint64_t bytes_ = 0;
};

// Total and used bytes, as the allocator in the pool reports them; zeros without a pool.
struct PoolUsage {
    std::uint32_t total = 0;
    std::uint32_t used = 0;
};
PoolUsage pool_usage();

// The same allocator's own figures; zeros without a pool.
shm_malloc_info pool_figures();

}  // namespace mox::host

#endif
