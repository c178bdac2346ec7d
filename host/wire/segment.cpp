// The system's list tells everybody of every segment; a segment's own status only those who may
// read it.
#include "wire/segment.hpp"

#include <sys/ipc.h>
#include <sys/shm.h>

#include <fstream>
#include <sstream>
#include <string>

namespace mox::host::wire {
namespace {

std::optional<Segment> find_in_list(int id) {
    std::ifstream list("/proc/sysvipc/shm");
    std::string line;
    std::getline(list, line);
    while (std::getline(list, line)) {
        Segment segment;
        std::string skipped;
        std::istringstream fields(line);
        fields >> skipped >> segment.id >> skipped >> segment.bytes >> segment.creator >> skipped >>
            segment.attached >> segment.user >> skipped >> segment.maker >> skipped >> skipped >>
            skipped >> segment.changed_s;
        if (fields && segment.id == id) {
            return segment;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<Segment> find_segment(key_t key) {
    const int id = shmget(key, 0, 0);
    if (id < 0) {
        return std::nullopt;
    }
    shmid_ds status = {};
    if (shmctl(id, IPC_STAT, &status) != 0) {
        return find_in_list(id);
    }
    return Segment{id,
                   status.shm_segsz,
                   status.shm_cpid,
                   status.shm_nattch,
                   status.shm_perm.uid,
                   status.shm_perm.cuid,
                   std::int64_t{status.shm_ctime}};
}

}  // namespace mox::host::wire
