// Creating and attaching the pool. The segment's key and address are fixed: a process that could
// not map it there could not follow one pointer in it.
#include "shmem/pool.hpp"

#include <moxplat/space.h>
#include <pub.h>
#include <shmem.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstdint>

#include "shmem/pool_size.hpp"

guint32 m_size = 0;
gint32 g_is_owned_shmem = 0;
gpointer g_dlmalloc_space = nullptr;
guint32 g_dlmalloc_top = 0;
gint32 init = 0;

namespace {

constexpr int kPermissions = 0666;

gpointer pool_address() {
    return reinterpret_cast<gpointer>(std::uintptr_t{SHM_POOL_ADDRESS});
}

}  // namespace

gpointer shm_alloc_new_block(gint32 key, gsize size, gpointer base_addr) {
    if (key > SHM_POOL_KEY) {
        return nullptr;
    }
    const int id = shmget(key, size, IPC_CREAT | IPC_EXCL | kPermissions);
    if (id < 0) {
        pub_debug_print(MX_DBG_ERR, "shmget create share memory failed, %s.\n", g_strerror(errno));
        return nullptr;
    }
    if (shmat(id, base_addr, 0) != base_addr) {
        pub_debug_print(MX_DBG_ERR, "shmat attach share memory failed, %s.\n", g_strerror(errno));
        return nullptr;
    }
    pub_debug_print(MX_DBG_INSIGHT, "share memory address: %p\n", base_addr);
    return base_addr;
}

gint32 shm_create() {
    const guint32 size = judge_share_memory_size();
    gpointer address = shm_alloc_new_block(SHM_POOL_KEY, size, pool_address());
    if (address == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    g_dlmalloc_space = shm_creat_space(address, size, 1);
    g_dlmalloc_top = SHM_POOL_ADDRESS + size;
    return MOX_OK;
}

void shm_app_init() {
    if (init != 0) {
        return;
    }
    init = 1;
    const int id = shmget(SHM_POOL_KEY, judge_share_memory_size(), kPermissions);
    if (id < 0) {
        pub_debug_print(MX_DBG_ERR, "attach share memory failed.\n");
        return;
    }
    pub_debug_print(MX_DBG_INSIGHT, "attach share memory address: %p\n",
                    shmat(id, pool_address(), 0));
}

void shm_owned_shmem() {
    g_is_owned_shmem = 1;
}

gboolean shm_is_owner() {
    return g_is_owned_shmem == 1;
}
