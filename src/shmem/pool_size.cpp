// The pool's size: 8 to 32 MiB as the environment says, or by the machine's memory. Decided once:
// later changes of either have no effect, because every process must map the same size.
#include "shmem/pool_size.hpp"

#include <pub.h>
#include <shmem.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "shmem/pool.hpp"

namespace mox {
namespace {

constexpr guint32 kSmallPool = 0x800000;
constexpr guint32 kLargePool = 0x2000000;
constexpr glong kSmallMachine = 0x461b1;  // kB
constexpr gint32 kLeastMiB = 8;
constexpr gint32 kMostMiB = 32;

struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};

}  // namespace

guint32 size_from_memory_text(gchar* text) {
    for (gsize index = 0; index < kMemoryTextLength - 1 && !g_ascii_isdigit(text[index]); ++index) {
        text[index] = ' ';
    }
    return std::strtol(text, nullptr, 10) <= kSmallMachine ? kSmallPool : kLargePool;
}

guint32 size_from_memory_file(const gchar* path) {
    const std::unique_ptr<FILE, CloseFile> file(std::fopen(path, "re"));
    if (!file) {
        return kLargePool;
    }
    gchar text[kMemoryTextLength] = "MemTotal:         157332 kB";
    if (std::fread(text, 1, sizeof(text) - 1, file.get()) == 0) {
        return 0;
    }
    return size_from_memory_text(text);
}

}  // namespace mox

guint32 judge_share_memory_size() {
    if (m_size != 0) {
        return m_size;
    }
    const gint32 wanted = pub_get_env_value(SHM_SIZE_VARIABLE);
    if (wanted >= mox::kLeastMiB && wanted <= mox::kMostMiB) {
        m_size = static_cast<guint32>(wanted) << 20;
        return m_size;
    }
    m_size = mox::size_from_memory_file("/proc/meminfo");
    return m_size;
}
