// Decides the pool's size, once per process.
#ifndef MOX_SHMEM_POOL_SIZE_HPP
#define MOX_SHMEM_POOL_SIZE_HPP

#include <glib.h>

namespace mox {

// Bytes read of the memory description, and the text that stands in for what could not be read.
constexpr gsize kMemoryTextLength = 28;

// The size for a machine described by the head of /proc/meminfo: 8 MiB up to 287153 kB, 32 MiB
// above. text: replaced up to its first digit; a terminated buffer of kMemoryTextLength bytes.
guint32 size_from_memory_text(gchar* text);

// The size for the machine that the file describes; 32 MiB when it cannot be opened, undecided (0)
// when it is empty.
guint32 size_from_memory_file(const gchar* path);

}  // namespace mox

// The pool's size in bytes: from the environment where that is in range, else from the machine's
// memory.
guint32 judge_share_memory_size();

#endif
