// Names of modules and classes are those of a checked profile.
#include "profile/module_rights.hpp"

#include <algorithm>

namespace mox::host {
namespace {

bool begins_as(const std::string& module, const std::string& pattern) {
    return pattern.back() == '*' &&
           module.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0;
}

bool covers(const std::vector<std::string>& list, const ClassIndex& classes,
            const ClassDef& entry) {
    return std::any_of(list.begin(), list.end(), [&](const std::string& name) {
        return name == "*" || classes.is_type(entry.name, name);
    });
}

}  // namespace

const ModuleRights* find_rights(const Profile& profile, const std::string& module) {
    if (!profile.modules) {
        return nullptr;
    }
    const ModuleRights* best = nullptr;
    for (const ModuleRights& rights : *profile.modules) {
        if (rights.name == module) {
            return &rights;
        }
        if (begins_as(module, rights.name) &&
            (best == nullptr || rights.name.size() > best->name.size())) {
            best = &rights;
        }
    }
    return best;
}

bool has_access(const Profile& profile, const ClassIndex& classes, const std::string& module,
                Access access, const ClassDef& entry) {
    const bool is_own = !entry.module.empty() && entry.module == module;
    if (!profile.modules) {
        return access != Access::write || is_own;
    }
    const ModuleRights* const rights = find_rights(profile, module);
    if (rights == nullptr) {
        return false;
    }
    const auto is_covered = [&](const std::vector<std::string>& list) {
        return covers(list, classes, entry);
    };
    switch (access) {
        case Access::read:
            return is_own || is_covered(rights->read) || is_covered(rights->write) ||
                   is_covered(rights->override_them);
        case Access::write:
            return is_own || is_covered(rights->write);
        case Access::override_it:
            return is_covered(rights->override_them);
    }
    return false;
}

bool may_manage(const Profile& profile, const std::string& module) {
    const ModuleRights* const rights = find_rights(profile, module);
    return !profile.modules || (rights != nullptr && rights->manage);
}

}  // namespace mox::host
