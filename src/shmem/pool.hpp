// Internal view of the pool: this process's state of it. Written only during start-up, by one
// thread.
#ifndef MOX_SHMEM_POOL_HPP
#define MOX_SHMEM_POOL_HPP

#include <glib.h>

constexpr guint32 kGrowBlockSize = 0x800000;

extern guint32 m_size;             // pool size in bytes once decided; 0: not yet
extern gint32 g_is_owned_shmem;    // 1 in the process that created the pool
extern gpointer g_dlmalloc_space;  // the allocator over the pool; null but in the owner
extern guint32 g_dlmalloc_top;     // end address of the mapped pool, moved by shm_add_mblock
extern guint32 sbrk_top;           // current break of the grow-on-demand area
extern gint32 key_id;              // next key for a grow block
extern gint32 init;                // set once shm_app_init has run

// Creates a segment and maps it at base_addr. Returns base_addr; null for a key above the pool's
// own, and when the segment exists or cannot be mapped there (logged).
gpointer shm_alloc_new_block(gint32 key, gsize size, gpointer base_addr);

#endif
