// Calls that have the owner write a property for a module, and tell how it is meant to be saved.
#ifndef MOXHOST_OWNER_VALUE_METHODS_HPP
#define MOXHOST_OWNER_VALUE_METHODS_HPP

#include <string>

#include "model/model_index.hpp"
#include "owner/call_arguments.hpp"
#include "owner/module_access.hpp"
#include "owner/module_registry.hpp"

namespace mox::host {

// Has this process's writes that outgrow a property's room stored by itself. At start.
void install_own_modify();

// For the thread of the main loop only.
class ValueMethods {
public:
    // Both outlive this object.
    ValueMethods(const ModelIndex& model, const ModuleAccess& access)
        : model_(model), access_(access) {}

    // The reply, floating; null when the method is none of these. Throws a Refusal.
    GVariant* answer(const JoinedModule& module, const std::string& method,
                     GVariant* arguments) const;

private:
    gint32 remote_set(const JoinedModule& module, GVariant* arguments) const;
    gint32 apply(const JoinedModule& module, GVariant* arguments) const;
    gint32 persist_mode(GVariant* arguments) const;

    const ModelIndex& model_;
    const ModuleAccess& access_;
};

}  // namespace mox::host

#endif
