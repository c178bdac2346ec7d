// What the owner lets each module do, by the profile, and what it writes down when it does not.
#ifndef MOXHOST_OWNER_MODULE_ACCESS_HPP
#define MOXHOST_OWNER_MODULE_ACCESS_HPP

#include <string>

#include "model/model_index.hpp"
#include "owner/module_registry.hpp"
#include "owner/refusal_log.hpp"
#include "profile/module_rights.hpp"

namespace mox::host {

// The judgements of calls log a refusal; method: the call that asks. For the thread of the main
// loop only.
class ModuleAccess {
public:
    // Both outlive this object.
    ModuleAccess(const ModelIndex& model, RefusalLog& log) : model_(model), log_(log) {}

    // Throws a Refusal for a module that the profile does not let in. pid: as it says itself.
    void admit(const std::string& module, gint32 pid) const;

    bool may(const JoinedModule& module, const std::string& method, Access access,
             const ObjectDef& object) const;

    // The same without a line in the log.
    bool has(const JoinedModule& module, Access access, const ObjectDef& object) const;

    // Whether the module may read a property: a reference is judged by itself and by what it leads
    // to.
    bool may_read(const JoinedModule& module, const std::string& method, const ObjectDef& object,
                  const std::string& property) const;

    // By the name of an object that need not be there: a collection is judged by its class, an
    // object of a board that is not plugged by its own. What the profile does not know is nobody's,
    // and may be asked for.
    bool may_by_name(const JoinedModule& module, const std::string& method, Access access,
                     const std::string& object) const;

    // What an operator writes; without a list of modules that may be any object.
    bool may_operator_write(const JoinedModule& module, const std::string& method,
                            const ObjectDef& object) const;

    // Each throws a Refusal: for an object's properties, for the events of a class, for boards and
    // defaults. what: nullable, what the call is about.
    void check_read(const JoinedModule& module, const std::string& method,
                    const std::string& object) const;
    void check_listen(const JoinedModule& module, const ClassDef& entry) const;
    void check_manage(const JoinedModule& module, const std::string& method,
                      const char* what) const;

    // Whether modules have to ask before they override anything by themselves.
    bool is_override_limited() const { return model_.profile().modules.has_value(); }

private:
    bool is_permitted(const JoinedModule& module, Access access,
                      const std::string& class_name) const;
    bool judge(const JoinedModule& module, const std::string& method, Access access,
               const std::string& object, const std::string& class_name) const;

    const ModelIndex& model_;
    RefusalLog& log_;
};

}  // namespace mox::host

#endif
