#include "membership.hpp"

#include <unistd.h>

namespace mox::tool {
namespace {

void throw_if_silent(const ErrorHolder& error) {
    if (error.is(MOXHOST_ERROR, MOXHOST_ERROR_TIMEOUT)) {
        throw OwnerSilent(error.text());
    }
}

MoxHostModule* join(const Call& call) {
    const gchar* const run_dir = call.run_dir.empty() ? nullptr : call.run_dir.c_str();
    const std::string name = "moxctl-" + std::to_string(getpid());
    ErrorHolder error;
    MoxHostModule* const module =
        moxhost_join(run_dir, name.c_str(), MODULE_INTERFACE, error.out());
    if (module == nullptr) {
        throw_if_silent(error);
        const bool is_absent = error.is(MOXHOST_ERROR, MOXHOST_ERROR_NO_OWNER);
        throw Failed(error.text() + (is_absent ? ", or name its directory with --run-dir" : ""));
    }
    return module;
}

// unknown: what is said when the owner does not know the name that was asked for.
template <typename List, typename Info>
List owned(Info* infos, gsize count, const ErrorHolder& error, const std::string& unknown = "") {
    if (infos == nullptr) {
        throw_if_silent(error);
        const bool is_unknown = error.is(MOXHOST_ERROR, MOXHOST_ERROR_NOT_FOUND);
        throw Failed(is_unknown ? unknown : error.text());
    }
    return List(infos, count);
}

}  // namespace

Membership::Membership(const Call& call) : module_(join(call)) {}

Membership::~Membership() {
    moxhost_leave(module_);
}

ObjectInfos object_infos(const Membership& owner, const std::string& class_name) {
    gsize count = 0;
    ErrorHolder error;
    const gchar* const wanted = class_name.empty() ? nullptr : class_name.c_str();
    MoxHostObjectInfo* const infos =
        moxhost_object_infos(owner.module(), wanted, &count, error.out());
    return owned<ObjectInfos>(infos, count, error, no_class_text(class_name));
}

ClassInfos class_infos(const Membership& owner) {
    gsize count = 0;
    ErrorHolder error;
    MoxHostClassInfo* const infos = moxhost_class_infos(owner.module(), &count, error.out());
    return owned<ClassInfos>(infos, count, error);
}

PropertyInfos property_infos(const Membership& owner, const std::string& object) {
    gsize count = 0;
    ErrorHolder error;
    MoxHostPropertyInfo* const infos =
        moxhost_property_infos(owner.module(), object.c_str(), &count, error.out());
    return owned<PropertyInfos>(
        infos, count, error,
        "there is no object \"" + object + "\"; moxctl list shows those that there are");
}

ModuleInfos module_infos(const Membership& owner) {
    gsize count = 0;
    ErrorHolder error;
    MoxHostModuleInfo* const infos = moxhost_module_infos(owner.module(), &count, error.out());
    return owned<ModuleInfos>(infos, count, error);
}

LockInfos lock_infos(const Membership& owner, bool all) {
    gsize count = 0;
    ErrorHolder error;
    MoxHostLockInfo* const infos =
        moxhost_lock_infos(owner.module(), all ? TRUE : FALSE, &count, error.out());
    return owned<LockInfos>(infos, count, error);
}

std::string no_class_text(const std::string& class_name) {
    return "there is no class \"" + class_name + "\"; moxctl tree shows those that there are";
}

const char* module_type_words(MOX_MODULE_TYPE type) {
    switch (type) {
        case MODULE_APP:
            return "application";
        case MODULE_SERVICE:
            return "service";
        case MODULE_INTERFACE:
            return "interface";
    }
    return "unknown";
}

}  // namespace mox::tool
