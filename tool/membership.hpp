// The tool's membership at the owner, and the owner's lists.
#ifndef MOX_TOOL_MEMBERSHIP_HPP
#define MOX_TOOL_MEMBERSHIP_HPP

#include <moxhost/operator.h>

#include <memory>
#include <span>
#include <string>

#include "glib_owners.hpp"
#include "verb.hpp"

namespace mox::tool {

// The owner is there and does not answer: stopped, or it waits for a lock itself.
class OwnerSilent : public Failed {
public:
    using Failed::Failed;
};

// Joins as "moxctl-PID" of the type MODULE_INTERFACE and leaves at the end of the scope. One for
// each process, because a process joins once.
class Membership {
public:
    // Throws Failed: no owner, another word size; OwnerSilent.
    explicit Membership(const Call& call);
    ~Membership();
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;

    MoxHostModule* module() const { return module_; }

private:
    MoxHostModule* module_;
};

// A list that the host library gave, with its owner: for (const auto& info : list).
template <typename Info, typename Free = FreeMemory>
class InfoList {
public:
    InfoList(Info* infos, gsize count) : infos_(infos), count_(count) {}
    const Info* begin() const { return infos_.get(); }
    const Info* end() const { return infos_.get() + count_; }
    std::size_t size() const { return count_; }

private:
    std::unique_ptr<Info, Free> infos_;
    gsize count_;
};

struct FreePropertyInfos {
    void operator()(MoxHostPropertyInfo* infos) const { moxhost_property_infos_free(infos); }
};

using ObjectInfos = InfoList<MoxHostObjectInfo>;
using ClassInfos = InfoList<MoxHostClassInfo>;
using PropertyInfos = InfoList<MoxHostPropertyInfo, FreePropertyInfos>;
using ModuleInfos = InfoList<MoxHostModuleInfo>;
using LockInfos = InfoList<MoxHostLockInfo>;

// The lists of moxhost/operator.h. They throw Failed, with what to do, and OwnerSilent.
ObjectInfos object_infos(const Membership& owner, const std::string& class_name = "");  // "": all
ClassInfos class_infos(const Membership& owner);
PropertyInfos property_infos(const Membership& owner, const std::string& object);
ModuleInfos module_infos(const Membership& owner);
LockInfos lock_infos(const Membership& owner, bool all);

// What is said of a class that there is not, and what to do.
std::string no_class_text(const std::string& class_name);

// The words for a module's type: "application", "service", "interface".
const char* module_type_words(MOX_MODULE_TYPE type);

}  // namespace mox::tool

#endif
