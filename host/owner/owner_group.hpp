// The group whose members may join besides the owner's own user.
#ifndef MOXHOST_OWNER_OWNER_GROUP_HPP
#define MOXHOST_OWNER_OWNER_GROUP_HPP

#include <sys/types.h>

#include <optional>
#include <string>

namespace mox::host {

struct OwnerGroup {
    gid_t id;
    std::string name;
};

// Makes the group this process's own: what it makes from now on belongs to it, and to no other
// group. Before anything is made. Nothing for the name "". Throws a
// StartError for a group that does not exist, or that this process may not take.
std::optional<OwnerGroup> take_group(const std::string& name);

}  // namespace mox::host

#endif
