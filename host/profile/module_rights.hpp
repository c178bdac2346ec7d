// Looking up what a module may do, by its name and by classes.
#ifndef MOXHOST_PROFILE_MODULE_RIGHTS_HPP
#define MOXHOST_PROFILE_MODULE_RIGHTS_HPP

#include <string>

#include "profile/class_list.hpp"
#include "profile/profile.hpp"

namespace mox::host {

enum class Access { read, write, override_it };

// The entry of a module: the one of just that name, else the longest one with "*" that the name
// begins with. Null when there is none, or no list.
const ModuleRights* find_rights(const Profile& profile, const std::string& module);

// Whether the module may do that with the objects of a class. A module reads and writes those of
// its own classes, and reads what it may write or override. Without a list of modules every module
// reads and overrides all, and writes its own. entry: one of classes.
bool has_access(const Profile& profile, const ClassIndex& classes, const std::string& module,
                Access access, const ClassDef& entry);

// Whether the module may plug and unplug boards, and restore the defaults.
bool may_manage(const Profile& profile, const std::string& module);

}  // namespace mox::host

#endif
