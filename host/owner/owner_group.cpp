// The system lets the maker's group at a System V object, whatever group the object is given later,
// so the group has to be the process's own when it makes them.
#include "owner/owner_group.hpp"

#include <grp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

#include "owner/start_error.hpp"
#include "profile/fault.hpp"

namespace mox::host {
namespace {

std::string error_text(int error) {
    return std::generic_category().message(error);
}

gid_t group_id(const std::string& name) {
    constexpr std::size_t most_bytes = 1U << 24U;
    std::vector<char> room(1U << 12U);
    group entry = {};
    group* found = nullptr;
    int error = ERANGE;
    while ((error = getgrnam_r(name.c_str(), &entry, room.data(), room.size(), &found)) == ERANGE &&
           room.size() < most_bytes) {
        room.resize(room.size() * 2);
    }
    if (found == nullptr) {
        throw StartError{"group " + quoted(name) + ", which the profile names, " +
                         (error == 0 ? "does not exist; make it, or name another"
                                     : "cannot be looked up: " + error_text(error))};
    }
    return entry.gr_gid;
}

}  // namespace

std::optional<OwnerGroup> take_group(const std::string& name) {
    if (name.empty()) {
        return std::nullopt;
    }
    const gid_t id = group_id(name);
    if (getegid() != id) {
        // The system takes a process that changes its group for one whose memory is a secret.
        const int dumpable = prctl(PR_GET_DUMPABLE);
        if (setegid(id) != 0) {
            throw StartError{"group " + quoted(name) + " cannot be taken: " + error_text(errno) +
                             "; start moxd as root, or with this group as its own, as sg does"};
        }
        prctl(PR_SET_DUMPABLE, dumpable);
    }
    return OwnerGroup{id, name};
}

}  // namespace mox::host
