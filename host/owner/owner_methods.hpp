// What the owner does for each call of a module.
#ifndef MOXHOST_OWNER_OWNER_METHODS_HPP
#define MOXHOST_OWNER_OWNER_METHODS_HPP

#include <gio/gio.h>

#include <functional>
#include <string>

#include "model/model_index.hpp"
#include "owner/board_methods.hpp"
#include "owner/listener_lists.hpp"
#include "owner/model_listing.hpp"
#include "owner/module_access.hpp"
#include "owner/module_registry.hpp"
#include "owner/operator_writes.hpp"
#include "owner/resource_listing.hpp"
#include "owner/store_methods.hpp"
#include "owner/value_methods.hpp"

namespace mox::host {

// One connection; module is null before Join and after Leave.
struct Session {
    const JoinedModule* module = nullptr;
};

struct PoolIdentity {
    gint32 id;
    guint64 bytes;
};

// For the thread of the main loop only.
class OwnerMethods {
public:
    struct Actions {
        std::function<void()> refresh;  // reads all hardware once
        std::function<void()> reclaim;  // frees removed objects that nobody has a copy of
    };

    // What the calls are about; all of it outlives this object.
    struct Parts {
        const ModelIndex& model;
        ListenerLists& lists;
        ModuleRegistry& registry;
        const RemovedObjects& removed;
        BoardPlug& boards;
        RefusalLog& refusals;
    };

    // owner_name: its name as a module.
    OwnerMethods(const Parts& parts, const std::string& owner_name, PoolIdentity pool,
                 Actions actions);

    // Answers one call; takes the invocation over. arguments: of the method's signature.
    void answer(Session& session, const std::string& method, GVariant* arguments,
                GDBusMethodInvocation* invocation);

    // Ends a session whose connection is gone.
    void end(Session& session);

private:
    GVariant* dispatch(Session& session, const std::string& method, GVariant* arguments);
    GVariant* join(Session& session, GVariant* arguments);
    GVariant* copy_object(const Session& session, GVariant* arguments) const;
    GVariant* list_objects(GVariant* arguments) const;
    GVariant* listen(const Session& session, GVariant* arguments);
    GVariant* remote_get(const Session& session, GVariant* arguments) const;
    GVariant* may_override(const Session& session, GVariant* arguments) const;
    GVariant* list_routes() const;

    ModuleAccess access_;
    ValueMethods values_;
    StoreMethods store_;
    BoardMethods boards_;
    OperatorWrites operator_writes_;
    ModelListing model_listing_;
    ResourceListing resource_listing_;
    const ModelIndex& model_;
    ListenerLists& lists_;
    ModuleRegistry& registry_;
    PoolIdentity pool_;
    Actions actions_;
};

}  // namespace mox::host

#endif
