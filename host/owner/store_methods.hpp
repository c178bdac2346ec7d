// Calls of modules to the owner's store.
#ifndef MOXHOST_OWNER_STORE_METHODS_HPP
#define MOXHOST_OWNER_STORE_METHODS_HPP

#include <string>

#include "model/model_index.hpp"
#include "owner/call_arguments.hpp"
#include "owner/module_access.hpp"
#include "owner/module_registry.hpp"

namespace mox::host {

// For the thread of the main loop only.
class StoreMethods {
public:
    // Both outlive this object.
    StoreMethods(const ModelIndex& model, const ModuleAccess& access)
        : model_(model), access_(access) {}

    // The reply, floating; null when the method is none of these. Throws a Refusal.
    GVariant* answer(const JoinedModule& module, const std::string& method,
                     GVariant* arguments) const;

private:
    gint32 judge(const JoinedModule& module, const char* method, GVariant* arguments,
                 bool has_prefix) const;
    gint32 save_value(const JoinedModule& module, GVariant* arguments) const;
    gint32 status_save(const JoinedModule& module, GVariant* arguments) const;
    gint32 status_remove(const JoinedModule& module, GVariant* arguments) const;
    GVariant* read_saved(const JoinedModule& module, GVariant* arguments) const;
    GVariant* is_saved(const JoinedModule& module, GVariant* arguments) const;
    GVariant* restore_defaults() const;

    const ModelIndex& model_;
    const ModuleAccess& access_;
};

}  // namespace mox::host

#endif
