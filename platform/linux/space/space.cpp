// The space allocator: a best-fit tree inside the region, and beside it, in the owner's heap, one
// bit per possible block start.
//
// What holds: a bit is set exactly while its block is handed out, so a pointer that the owner never
// got, or gave back before, is refused before the tree sees it. The tree's head is the first thing
// in the region; the blocks follow. Exceptions of the allocator's header end in this file.
#include <moxplat/space.h>
#include <boost/interprocess/mem_algo/rbtree_best_fit.hpp>
#include <boost/interprocess/sync/mutex_family.hpp>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace {

constexpr gsize block_alignment = 8;

// The space's own mutex guards it, so the allocator's is null.
using BestFit = boost::interprocess::rbtree_best_fit<boost::interprocess::null_mutex_family, void*,
                                                     block_alignment>;

class Space {
public:
    Space(gpointer base, gsize size, bool locked)
        : base_{static_cast<gchar*>(base)},
          size_{size},
          locked_{locked},
          live_(size / block_alignment),
          blocks_{new (base) BestFit{size, 0}} {}

    gpointer allocate(gsize size) {
        const auto lock = hold();
        gpointer const block = blocks_->allocate(size);
        if (block != nullptr) {
            live_[unit_of(block)] = true;
            ++live_blocks_;
            std::memset(block, 0, size);
        }
        return block;
    }

    bool release(gpointer block) {
        const auto lock = hold();
        if (!is_live(block)) return false;
        live_[unit_of(block)] = false;
        --live_blocks_;
        blocks_->deallocate(block);
        return true;
    }

    shm_malloc_info info() {
        const auto lock = hold();
        const auto total = static_cast<guint32>(size_);
        const auto available = static_cast<guint32>(blocks_->get_free_memory());
        shm_malloc_info result = {};
        result.arena = total;
        result.usmblks = total;
        result.ordblks = live_blocks_;
        result.uordblks = total - available;
        result.fordblks = available;
        result.keepcost = static_cast<guint32>(largest_block(available));
        return result;
    }

    gsize size() const { return size_; }

private:
    std::unique_lock<std::mutex> hold() {
        return locked_ ? std::unique_lock{mutex_} : std::unique_lock<std::mutex>{};
    }

    // The allocator does not tell, so it is asked for blocks, by halves; each is given back at
    // once, which leaves the tree as it was. available: bytes, not less than the answer.
    gsize largest_block(gsize available) {
        gsize fits = 0;
        gsize beyond = available + 1;
        while (beyond - fits > 1) {
            const gsize size = fits + (beyond - fits) / 2;
            gpointer const block = blocks_->allocate(size);
            if (block != nullptr) blocks_->deallocate(block);
            (block != nullptr ? fits : beyond) = size;
        }
        return fits;
    }

    gsize unit_of(gconstpointer block) const {
        return static_cast<gsize>(static_cast<const gchar*>(block) - base_) / block_alignment;
    }

    bool is_live(gconstpointer block) const {
        const auto address = reinterpret_cast<guintptr>(block);
        const auto first = reinterpret_cast<guintptr>(base_);
        if (address < first || address - first >= live_.size() * block_alignment) return false;
        return address % block_alignment == 0 && live_[unit_of(block)];
    }

    gchar* const base_;
    const gsize size_;
    const bool locked_;
    std::mutex mutex_;
    // Under the mutex when the space is locked:
    std::vector<bool> live_;
    guint32 live_blocks_ = 0;
    BestFit* const blocks_;
};

// Why a region cannot hold a space, or null.
const gchar* region_fault(gconstpointer base, gsize size) {
    if (base == nullptr) return "it has no address";
    if (reinterpret_cast<guintptr>(base) % block_alignment != 0)
        return "its address is not a multiple of 8";
    if (size > G_MAXUINT32) return "its size is above what the usage record can hold";
    if (size < BestFit::get_min_size(0)) return "it has no room for the allocator's head";
    return nullptr;
}

// A space is never taken apart, because its handle may be used as long as the process lives.
void keep_for_ever(std::unique_ptr<Space> space) {
    static std::mutex mutex;
    static auto* const spaces = new std::vector<std::unique_ptr<Space>>;
    const std::lock_guard lock{mutex};
    spaces->push_back(std::move(space));
}

}  // namespace

gpointer shm_creat_space(gpointer base, gsize size, gint32 locked) {
    if (const gchar* const fault = region_fault(base, size); fault != nullptr) {
        g_warning("no space made over the %" G_GSIZE_FORMAT " bytes at %p: %s", size, base, fault);
        return nullptr;
    }
    try {
        auto space = std::make_unique<Space>(base, size, locked != 0);
        Space* const handle = space.get();
        keep_for_ever(std::move(space));
        return handle;
    } catch (...) {
        g_warning("no space made over the %" G_GSIZE_FORMAT " bytes at %p: out of memory", size,
                  base);
        return nullptr;
    }
}

gpointer shm_space_calloc(gpointer space, gsize count, gsize size) {
    auto* const handle = static_cast<Space*>(space);
    gsize bytes = 0;
    if (handle == nullptr || __builtin_mul_overflow(count, size, &bytes) || bytes > handle->size())
        return nullptr;
    try {
        return handle->allocate(bytes == 0 ? 1 : bytes);
    } catch (...) {
        return nullptr;
    }
}

void shm_space_free(gpointer space, gpointer mem) {
    auto* const handle = static_cast<Space*>(space);
    if (handle == nullptr || mem == nullptr) return;
    if (!handle->release(mem)) {
        g_warning(
            "%p is not a block in use of this space (freed twice, or never allocated here): not "
            "freed",
            mem);
    }
}

shm_malloc_info shm_space_info(gpointer space) {
    auto* const handle = static_cast<Space*>(space);
    return handle == nullptr ? shm_malloc_info{} : handle->info();
}
