// Break-style growth. The first key for a further block lies above the highest that the block
// allocator accepts, so the pool never really grows: callers get null beyond the first segment, and
// rely on it.
#include <shmem.h>

#include <cstdint>

#include "shmem/pool.hpp"

guint32 sbrk_top = 0x90800000;
gint32 key_id = 0x131232;

namespace {

gpointer to_pointer(guint32 address) {
    return reinterpret_cast<gpointer>(std::uintptr_t{address});
}

}  // namespace

gpointer shm_add_mblock(gint32 size) {
    if (size < 0) {
        return reinterpret_cast<gpointer>(~std::uintptr_t{0});
    }
    if (size == 0) {
        return to_pointer(sbrk_top);
    }
    const guint64 grown = guint64{sbrk_top} + static_cast<guint32>(size);
    if (g_dlmalloc_top > grown) {
        const guint32 old_top = sbrk_top;
        sbrk_top = static_cast<guint32>(grown);
        return to_pointer(old_top);
    }
    gpointer block = shm_alloc_new_block(key_id++, kGrowBlockSize, to_pointer(g_dlmalloc_top));
    const auto address = static_cast<guint32>(reinterpret_cast<std::uintptr_t>(block));
    g_dlmalloc_top = address + kGrowBlockSize;
    sbrk_top = address + static_cast<guint32>(size);
    return block;
}
