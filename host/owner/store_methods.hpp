// Calls of modules to the owner's store.
#ifndef MOXHOST_OWNER_STORE_METHODS_HPP
#define MOXHOST_OWNER_STORE_METHODS_HPP

#include <string>

#include "model/model_index.hpp"
#include "owner/call_arguments.hpp"
#include "owner/module_registry.hpp"

namespace mox::host {

// For the thread of the main loop only.
class StoreMethods {
public:
    // model: outlives this object.
    explicit StoreMethods(const ModelIndex& model) : model_(model) {}

    // The reply, floating; null when the method is none of these. Throws a Refusal.
    GVariant* answer(const JoinedModule& module, const std::string& method,
                     GVariant* arguments) const;

private:
    gint32 judge(const JoinedModule& module, GVariant* arguments, bool has_prefix) const;
    gint32 save_value(const JoinedModule& module, GVariant* arguments) const;
    gint32 status_save(const JoinedModule& module, GVariant* arguments) const;
    gint32 status_remove(const JoinedModule& module, GVariant* arguments) const;
    static GVariant* read_saved(GVariant* arguments);
    static GVariant* is_saved(GVariant* arguments);
    GVariant* restore_defaults() const;

    const ModelIndex& model_;
};

}  // namespace mox::host

#endif
