/*
 * Contract of the space allocator: blocks inside a region that the caller supplies, such as the
 * shared pool.
 *
 * One process, the owner of the region, makes the space and is the only one to allocate and free in
 * it; others read the blocks. The handle is a pointer of that process and means nothing elsewhere.
 *
 * A product links its own library behind this header; the reference implementation is
 * platform/linux/space.
 */
#ifndef MOXPLAT_SPACE_H
#define MOXPLAT_SPACE_H

#include <glib.h>
#include <moxplat/api.h>

G_BEGIN_DECLS

/* Usage of a space in bytes unless said. Fields that an implementation does not keep are 0. */
typedef struct tag_shm_malloc_info {
    guint32 arena;   /* bytes of the region */
    guint32 ordblks; /* number of blocks in use */
    guint32 smblks;
    guint32 hblks;
    guint32 hblkhd;
    guint32 usmblks; /* total bytes of the space: uordblks + fordblks */
    guint32 fsmblks;
    guint32 uordblks; /* bytes used, the allocator's own included */
    guint32 fordblks; /* bytes free */
    guint32 keepcost; /* bytes of the largest block that could be had now */
} shm_malloc_info;

/*
 * Builds a space over a region; what the region held before is lost.
 * base: start of the region, a multiple of 8, not null; size: bytes, at most 4 GiB - 1, and enough
 * for the allocator's head (a few hundred bytes); locked: non-zero makes the space safe for
 * several threads at once.
 * Returns the handle, valid while the process lives; null with a log line for a region that cannot
 * be used.
 * Locks: none. The region's owner.
 */
MOXPLAT_API gpointer shm_creat_space(gpointer base, gsize size, gint32 locked);

/*
 * Allocates a zeroed block.
 * space: handle, null gives null; count, size: the block has count * size bytes; a product of 0
 * gives a minimal block.
 * Returns a block aligned to 8 bytes, to be given back with shm_space_free; null when the space
 * has no such room or the product overflows.
 * Locks: the space's own when it was made with one. The region's owner.
 */
MOXPLAT_API gpointer shm_space_calloc(gpointer space, gsize count, gsize size);

/*
 * Gives a block back.
 * space: handle, null is ignored; mem: a live block of this space, null is ignored. Anything else
 * (a block freed before, a pointer into a block or outside the region) is refused with a log line
 * and changes nothing.
 * Locks: the space's own when it was made with one. The region's owner.
 */
MOXPLAT_API void shm_space_free(gpointer space, gpointer mem);

/*
 * Reports the usage of a space.
 * space: handle; null gives zeros.
 * Returns the record by value.
 * Locks: the space's own when it was made with one. The region's owner.
 */
MOXPLAT_API shm_malloc_info shm_space_info(gpointer space);

G_END_DECLS

#endif
