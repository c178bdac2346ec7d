/* shmem.h: the shared-memory pool. One process, the owner, creates the segment and is the only one
 * that allocates from it and frees into it; every other process attaches it at the same fixed
 * address, so that pointers stored in the pool are valid everywhere. Unless a comment says
 * otherwise: any process, any thread; no lock is taken but the allocator's own, and none is
 * forbidden. */
#ifndef MOX_SHMEM_H
#define MOX_SHMEM_H

#include <moxlib/moxbase.h>
#include <stdio.h>

G_BEGIN_DECLS

#define SHM_POOL_KEY     0x131231    /* System V key of the segment */
#define SHM_POOL_ADDRESS 0x90000000U /* where every process maps it */
#define SHM_SIZE_VARIABLE \
    "SHAMRE_MEMORY_SIZE" /* pool size in MiB, 8 to 32; the spelling is established */

/* Creates the pool, attaches it and sets up the allocator in it. Owner only, once. A segment that
 * could not be mapped stays, and is the caller's to remove.
 * Returns 0, or MOX_ERR_INTERNAL when the segment exists already or cannot be mapped at its address
 * (logged). */
MOX_API gint32 shm_create(void);

/* Attaches the existing pool. Any process but the owner; only the first call does something, a
 * failure is logged. */
MOX_API void shm_app_init(void);

/* Marks this process as the pool's owner. Call it before shm_create. */
MOX_API void shm_owned_shmem(void);

/* Tells whether this process is the pool's owner. */
MOX_API gboolean shm_is_owner(void);

/* Allocates a zeroed block in the pool. Owner only, any thread.
 * size: bytes. Returns the block, freed with shm_free; null in any other process, and on exhaustion
 * (logged). */
MOX_API gpointer shm_alloc0(gsize size);

/* Gives a block back to the pool. Does nothing for null and in a process that is not the owner. */
MOX_API void shm_free(gpointer mem);

/* Copies a string into the pool, cut to max_size - 1 characters.
 * str: nullable. max_size: bytes of the longest block to make.
 * Returns the copy, freed with shm_free; null for a null str, a max_size of 0, or as shm_alloc0. */
MOX_API gchar* shm_strdup(const gchar* str, gsize max_size);

/* Copies bytes into the pool.
 * mem: nullable. size: bytes. Returns the copy, freed with shm_free; null for a null mem or as
 * shm_alloc0. */
MOX_API gpointer shm_memdup(gconstpointer mem, gsize size);

/* Growth call-back of a break-style allocator.
 * size: bytes to grow by; 0 asks for the current break, negative is refused with the all-ones
 * pointer. Returns the old break while the segment has room; null beyond it: the pool never grows
 * past its first segment. */
MOX_API gpointer shm_add_mblock(gint32 size);

/* Prints the pool's total, used and free bytes.
 * stream: nullable (nothing is printed, as before the pool was created by this process). */
MOX_API void shm_dump(FILE* stream);

G_END_DECLS

#endif
