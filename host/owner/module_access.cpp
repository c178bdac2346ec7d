// Without a list of modules in the profile nothing is refused here but writes to the objects of
// other modules' classes, which are no line in the log.
#include "owner/module_access.hpp"

#include "owner/call_arguments.hpp"
#include "profile/fault.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

const char* verb_of(Access access) {
    switch (access) {
        case Access::read:
            return "read";
        case Access::write:
            return "write";
        case Access::override_it:
            return "override";
    }
    return "use";
}

std::string who_is(const JoinedModule& module) {
    return "module " + quoted(module.name);
}

[[noreturn]] void refuse_reading(const JoinedModule& module, const std::string& what) {
    refuse(wire::error_refused, "the owner's profile gives " + who_is(module) +
                                    " no right to read " + what + "; see its entry of \"modules\"");
}

}  // namespace

void ModuleAccess::admit(const std::string& module, gint32 pid) const {
    if (!model_.profile().modules || find_rights(model_.profile(), module) != nullptr) {
        return;
    }
    const std::string who = "module " + quoted(module);
    log_.add("who joins", "join of " + who + ", process " + std::to_string(pid) +
                              ": no entry of \"modules\" in the profile has this name");
    refuse(wire::error_refused, who +
                                    " may not join: no entry of \"modules\" in the owner's "
                                    "profile has this name; add one, or join under another");
}

bool ModuleAccess::may(const JoinedModule& module, const std::string& method, Access access,
                       const ObjectDef& object) const {
    return judge(module, method, access, object.name, object.class_name);
}

bool ModuleAccess::has(const JoinedModule& module, Access access, const ObjectDef& object) const {
    return is_permitted(module, access, object.class_name);
}

bool ModuleAccess::may_read(const JoinedModule& module, const std::string& method,
                            const ObjectDef& object, const std::string& property) const {
    const PropertyPlace target = model_.follow(object.name, property);
    return may(module, method, Access::read, object) &&
           (target.object == nullptr || may(module, method, Access::read, *target.object));
}

bool ModuleAccess::may_by_name(const JoinedModule& module, const std::string& method, Access access,
                               const std::string& object) const {
    if (const ClassDef* const entry = model_.class_of_collection(object)) {
        return judge(module, method, access, object, entry->name);
    }
    const ObjectDef* const known = model_.find_in_profile(object);
    return known == nullptr || may(module, method, access, *known);
}

bool ModuleAccess::may_operator_write(const JoinedModule& module, const std::string& method,
                                      const ObjectDef& object) const {
    return !model_.profile().modules || may(module, method, Access::write, object);
}

void ModuleAccess::check_read(const JoinedModule& module, const std::string& method,
                              const std::string& object) const {
    if (!may_by_name(module, method, Access::read, object)) {
        refuse_reading(module, "the class of object " + quoted(object));
    }
}

void ModuleAccess::check_listen(const JoinedModule& module, const ClassDef& entry) const {
    if (!judge(module, "Listen", Access::read, entry.name, entry.name)) {
        refuse_reading(module, "class " + quoted(entry.name));
    }
}

void ModuleAccess::check_manage(const JoinedModule& module, const std::string& method,
                                const char* what) const {
    if (may_manage(model_.profile(), module.name)) {
        return;
    }
    const std::string about = what == nullptr ? "" : " of " + quoted(what);
    log_.add(who_is(module), who_is(module) + ", " + method + about + ": no right to manage");
    refuse(wire::error_refused, "the owner's profile gives " + who_is(module) + " no right to " +
                                    method + "; its entry of \"modules\" needs \"manage\": true");
}

bool ModuleAccess::is_permitted(const JoinedModule& module, Access access,
                                const std::string& class_name) const {
    const ClassDef* const entry = model_.find_class(class_name);
    return entry != nullptr &&
           has_access(model_.profile(), model_.classes(), module.name, access, *entry);
}

bool ModuleAccess::judge(const JoinedModule& module, const std::string& method, Access access,
                         const std::string& object, const std::string& class_name) const {
    if (is_permitted(module, access, class_name)) {
        return true;
    }
    if (model_.profile().modules) {
        log_.add(who_is(module), who_is(module) + ", " + method + " of " + quoted(object) +
                                     ": no right to " + verb_of(access) + " class " +
                                     quoted(class_name));
    }
    return false;
}

}  // namespace mox::host
