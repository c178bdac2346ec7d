// Writes that an operator asks for: to any object that the profile gives to the operator's module,
// whichever module has its class.
#ifndef MOXHOST_OWNER_OPERATOR_WRITES_HPP
#define MOXHOST_OWNER_OPERATOR_WRITES_HPP

#include <gio/gio.h>

#include <string>

#include "model/model_index.hpp"
#include "owner/module_access.hpp"
#include "owner/module_registry.hpp"

namespace mox::host {

// For the thread of the main loop only. Replies are floating.
class OperatorWrites {
public:
    // Both outlive this object.
    OperatorWrites(const ModelIndex& model, const ModuleAccess& access);

    // Null for a method that is none of these. Refuses every module but one of the type
    // MODULE_INTERFACE.
    GVariant* answer(const JoinedModule& module, const std::string& method,
                     GVariant* arguments) const;

private:
    gint32 set(const JoinedModule& module, GVariant* arguments) const;
    gint32 override_value(const JoinedModule& module, GVariant* arguments) const;
    GVariant* cancel(const JoinedModule& module, GVariant* arguments) const;

    const ModelIndex& model_;
    const ModuleAccess& access_;
};

}  // namespace mox::host

#endif
