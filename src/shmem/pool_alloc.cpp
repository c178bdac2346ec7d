// Allocation in the pool, by its owner only: a process that could free what it did not allocate
// would break every other one.
#include <glib/gprintf.h>
#include <moxplat/bounded.h>
#include <moxplat/space.h>
#include <pub.h>
#include <shmem.h>

#include <algorithm>
#include <cstring>

#include "shmem/pool.hpp"

gpointer shm_alloc0(gsize size) {
    if (!shm_is_owner()) {
        return nullptr;
    }
    gpointer block = shm_space_calloc(g_dlmalloc_space, 1, size);
    if (block == nullptr) {
        pub_debug_print(MX_DBG_ERR, "alloc share_mem failed, size %d.\n", static_cast<gint>(size));
    }
    return block;
}

void shm_free(gpointer mem) {
    if (mem != nullptr && shm_is_owner()) {
        shm_space_free(g_dlmalloc_space, mem);
    }
}

gchar* shm_strdup(const gchar* str, gsize max_size) {
    if (str == nullptr || max_size == 0) {
        return nullptr;
    }
    const gsize size = std::min(std::strlen(str) + 1, max_size);
    auto* copy = static_cast<gchar*>(shm_alloc0(size));
    if (copy != nullptr) {
        g_strlcpy(copy, str, size);
    }
    return copy;
}

gpointer shm_memdup(gconstpointer mem, gsize size) {
    gpointer copy = mem == nullptr ? nullptr : shm_alloc0(size);
    if (copy != nullptr && memmove_s(copy, size, mem, size) != 0) {
        shm_free(copy);
        return nullptr;
    }
    return copy;
}

void shm_dump(FILE* stream) {
    if (stream == nullptr || g_dlmalloc_space == nullptr) {
        return;
    }
    const shm_malloc_info info = shm_space_info(g_dlmalloc_space);
    g_fprintf(stream, "========================share memory=======================\n");
    g_fprintf(stream, "total : %d\n", static_cast<gint>(info.usmblks));
    g_fprintf(stream, "used  : %d\n", static_cast<gint>(info.uordblks));
    g_fprintf(stream, "free  : %d\n", static_cast<gint>(info.fordblks));
}
