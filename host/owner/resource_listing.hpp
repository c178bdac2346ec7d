// What an operator's tool is told of modules, queues, locks and the pool.
#ifndef MOXHOST_OWNER_RESOURCE_LISTING_HPP
#define MOXHOST_OWNER_RESOURCE_LISTING_HPP

#include <gio/gio.h>

#include <string>

#include "owner/model_listing.hpp"
#include "owner/module_registry.hpp"
#include "owner/removed_objects.hpp"

namespace mox::host {

// For the thread of the main loop only. Replies are floating.
class ResourceListing {
public:
    // The references outlive this object.
    ResourceListing(const ModelIndex& model, const ModuleRegistry& registry,
                    const RemovedObjects& removed, const ModelListing& listing,
                    std::string owner_name);

    // Null for a method that is none of these.
    GVariant* answer(const std::string& method, GVariant* arguments) const;

private:
    GVariant* module_infos() const;
    GVariant* lock_infos(bool all) const;
    GVariant* pool_info() const;

    const ModelIndex& model_;
    const ModuleRegistry& registry_;
    const RemovedObjects& removed_;
    const ModelListing& listing_;
    std::string owner_name_;
    gint64 started_us_ = g_get_real_time();
};

}  // namespace mox::host

#endif
