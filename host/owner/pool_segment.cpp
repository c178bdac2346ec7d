// The system notes who made a segment and when, but by process id: a creator that started after the
// segment was made is another process under that id. Setting the clock can make the true owner look
// younger, so one that has the segment mapped counts as alive, too.
//
// The allocator's handle is the object core's own. This program defines shm_creat_space in front of
// the space library's: the dynamic linker gives a program's definition to every library that calls
// the name, so the handle passes through here, and the call goes on unchanged.
#include "owner/pool_segment.hpp"

#include <dlfcn.h>
#include <shmem.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <system_error>

#include "owner/process_age.hpp"
#include "owner/start_error.hpp"
#include "wire/segment.hpp"

namespace mox::host {
namespace {

// Both times are cut to whole seconds.
constexpr std::int64_t rounding_s = 1;

std::atomic<gpointer> pool_space{nullptr};

bool is_alive(const wire::Segment& segment) {
    const pid_t creator = segment.creator;
    // Made in another PID namespace: whether that process lives cannot be told, but whether anybody
    // uses it can.
    if (creator <= 0) {
        return segment.attached > 0;
    }
    const std::optional<std::int64_t> started = start_time_of(creator);
    return started &&
           (*started <= segment.changed_s + rounding_s || has_segment_mapped(creator, segment.id));
}

std::string error_text(int error) {
    return std::generic_category().message(error);
}

// True when the segment is gone afterwards.
bool remove_segment(int id) {
    return shmctl(id, IPC_RMID, nullptr) == 0 || errno == EINVAL || errno == EIDRM;
}

}  // namespace

FoundPool find_pool() {
    const std::optional<wire::Segment> segment = wire::find_segment(SHM_POOL_KEY);
    if (!segment) {
        return {};
    }
    return {is_alive(*segment) ? PoolState::owned : PoolState::stale, segment->id,
            segment->creator};
}

void remove_stale_pool(const FoundPool& pool) {
    if (!remove_segment(pool.id)) {
        throw StartError{"the stale pool segment " + std::to_string(pool.id) +
                         " of the dead process " + std::to_string(pool.owner) +
                         " cannot be removed: " + error_text(errno)};
    }
}

OwnPool::OwnPool(Reach reach) {
    shm_owned_shmem();
    const gint32 result = shm_create();
    const std::optional<wire::Segment> segment = wire::find_segment(SHM_POOL_KEY);
    const bool is_ours = segment && segment->creator == getpid();
    if (result != 0) {
        if (is_ours) {
            remove_segment(segment->id);
            throw StartError{
                "the pool cannot be mapped at its fixed address 0x90000000 (see the "
                "log line above)"};
        }
        throw StartError{"the pool segment cannot be made (see the log line above)"};
    }
    if (!is_ours) {
        throw StartError{"the pool segment was removed by somebody right after it was made"};
    }
    id_ = segment->id;
    bytes_ = segment->bytes;
    try {
        narrow(reach);
    } catch (const StartError&) {
        remove_segment(id_);
        throw;
    }
}

// The library makes the segment for everybody. What is mapped stays mapped, so whoever was fast
// enough is looked for afterwards, also when it has gone again: the last to map or let go is this
// process, which mapped it once.
void OwnPool::narrow(Reach reach) const {
    constexpr mode_t all_modes = 0777;
    constexpr mode_t user_mode = 0600;
    constexpr mode_t group_mode = 0660;
    const mode_t mode = reach == Reach::group ? group_mode : user_mode;
    shmid_ds status = {};
    bool is_done = shmctl(id_, IPC_STAT, &status) == 0;
    // The field's type differs between the systems' headers.
    using Mode = decltype(status.shm_perm.mode);
    status.shm_perm.mode = static_cast<Mode>((status.shm_perm.mode & ~all_modes) | mode);
    is_done = is_done && shmctl(id_, IPC_SET, &status) == 0 && shmctl(id_, IPC_STAT, &status) == 0;
    if (!is_done) {
        throw StartError{"the modes of the pool segment cannot be set: " + error_text(errno)};
    }
    if (status.shm_nattch != 1 || status.shm_lpid != getpid()) {
        throw StartError{
            "another process mapped the pool segment before it was closed to others; "
            "find out which one does that, and start anew"};
    }
}

OwnPool::~OwnPool() {
    if (!remove_segment(id_)) {
        std::fprintf(stderr, "moxd: the pool segment %d cannot be removed: %s\n", id_,
                     error_text(errno).c_str());
    }
}

PoolUsage pool_usage() {
    const shm_malloc_info figures = pool_figures();
    return {figures.usmblks, figures.uordblks};
}

shm_malloc_info pool_figures() {
    return shm_space_info(pool_space.load());
}

}  // namespace mox::host

gpointer shm_creat_space(gpointer base, gsize size, gint32 locked) {
    using Create = decltype(&shm_creat_space);
    static const auto layer = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "shm_creat_space"));
    gpointer const space = layer == nullptr ? nullptr : layer(base, size, locked);
    mox::host::pool_space.store(space);
    return space;
}
