// Calls of modules that plug and unplug boards.
#ifndef MOXHOST_OWNER_BOARD_METHODS_HPP
#define MOXHOST_OWNER_BOARD_METHODS_HPP

#include <string>

#include "model/model_index.hpp"
#include "owner/board_plug.hpp"
#include "owner/call_arguments.hpp"
#include "owner/module_access.hpp"

namespace mox::host {

// For the thread of the main loop only.
class BoardMethods {
public:
    // The references outlive this object.
    BoardMethods(const ModelIndex& model, BoardPlug& plug, const ModuleAccess& access)
        : model_(model), plug_(plug), access_(access) {}

    // The reply, floating; null when the method is none of these. Throws a Refusal; nothing has
    // changed then.
    GVariant* answer(const JoinedModule& module, const std::string& method,
                     GVariant* arguments) const;

private:
    const BoardDef& board_at(GVariant* arguments) const;
    GVariant* plug(GVariant* arguments) const;
    GVariant* unplug(GVariant* arguments) const;
    GVariant* list() const;

    const ModelIndex& model_;
    BoardPlug& plug_;
    const ModuleAccess& access_;
};

}  // namespace mox::host

#endif
