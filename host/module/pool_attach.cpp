// The library's own attach tells nothing, and maps somewhere else or nowhere without a word: the
// process's map of memory is looked at afterwards.
#include "module/pool_attach.hpp"

#include <pub.h>
#include <shmem.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdint>
#include <fstream>
#include <sstream>

namespace mox::host {
namespace {

// One line of the map of memory.
struct Mapping {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    long inode = -1;
    std::string name;
};

// What lies at the pool's address; an empty mapping when nothing does.
Mapping mapping_at_address() {
    std::ifstream file("/proc/self/maps");
    std::string line;
    while (std::getline(file, line)) {
        Mapping mapping;
        char dash = 0;
        std::string skipped;
        std::istringstream fields(line);
        fields >> std::hex >> mapping.begin >> dash >> mapping.end >> skipped >> skipped >>
            skipped >> std::dec >> mapping.inode >> mapping.name;
        if (mapping.begin <= SHM_POOL_ADDRESS && SHM_POOL_ADDRESS < mapping.end) {
            return mapping;
        }
    }
    return {};
}

void use_pool_size(guint64 pool_bytes) {
    const auto mib = static_cast<gint32>(pool_bytes >> 20U);
    if (pub_get_env_value(SHM_SIZE_VARIABLE) != mib) {
        g_setenv(SHM_SIZE_VARIABLE, std::to_string(mib).c_str(), TRUE);
    }
}

}  // namespace

std::string attach_pool(gint32 pool_id, guint64 pool_bytes) {
    if (shmget(SHM_POOL_KEY, 0, 0) != pool_id) {
        return "the owner's pool segment " + std::to_string(pool_id) +
               " is not the one to be found here; start module and owner in the same IPC namespace";
    }
    use_pool_size(pool_bytes);
    shm_app_init();
    const Mapping mapping = mapping_at_address();
    if (mapping.begin == SHM_POOL_ADDRESS && mapping.inode == pool_id &&
        mapping.name.rfind("/SYSV", 0) == 0) {
        return mapping.end - mapping.begin >= pool_bytes
                   ? ""
                   : "the owner says that its pool has " + std::to_string(pool_bytes) +
                         " bytes, but it has only " + std::to_string(mapping.end - mapping.begin) +
                         "; start an owner of this build";
    }
    if (mapping.end != 0) {
        return "the pool's address 0x90000000 is taken in this process by " +
               (mapping.name.empty() ? std::string("anonymous memory") : mapping.name) +
               "; join before it is mapped there";
    }
    return "the pool cannot be mapped at 0x90000000 (see the log); the kernel may end user space "
           "below that address";
}

bool lies_in_pool(gconstpointer pointer, gsize length, guint64 pool_bytes) {
    const auto address = std::uint64_t{reinterpret_cast<std::uintptr_t>(pointer)};
    return address >= SHM_POOL_ADDRESS && address <= SHM_POOL_ADDRESS + pool_bytes &&
           length <= SHM_POOL_ADDRESS + pool_bytes - address;
}

}  // namespace mox::host
