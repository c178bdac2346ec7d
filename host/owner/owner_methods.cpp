// Arguments arrive with the interface's types; lengths, ranges and names are checked here. A
// refused call throws a Refusal, which becomes a D-Bus error.
#include "owner/owner_methods.hpp"

#include <classnode.h>
#include <classtree.h>
#include <lom.h>
#include <moxplat/osal.h>

#include <vector>

#include "model/model_build.hpp"
#include "owner/call_arguments.hpp"
#include "owner/half_written.hpp"
#include "owner/lost_messages.hpp"
#include "owner/pool_segment.hpp"
#include "owner/read_stamps.hpp"
#include "owner/route_list.hpp"
#include "owner/sent_events.hpp"
#include "wire/interface.hpp"
#include "wire/record_layout.hpp"

namespace mox::host {
namespace {

std::uint64_t address(gconstpointer pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer);
}

void compare_builds(guint32 word_bits, const std::string& layout) {
    if (word_bits != wire::word_bits) {
        const std::string ours = std::to_string(wire::word_bits);
        refuse(wire::error_mismatch, "the owner has " + ours + "-bit words, the module " +
                                         std::to_string(word_bits) + "-bit words; start the " +
                                         ours + "-bit build of the module");
    }
    const std::string difference = wire::layout_difference(wire::record_layout(), layout);
    if (!difference.empty()) {
        refuse(wire::error_mismatch, "the record layouts differ: " + difference +
                                         "; build owner and module from the same sources");
    }
}

}  // namespace

OwnerMethods::OwnerMethods(const Parts& parts, const std::string& owner_name, PoolIdentity pool,
                           Actions actions)
    : access_(parts.model, parts.refusals),
      values_(parts.model, access_),
      store_(parts.model, access_),
      boards_(parts.model, parts.boards, access_),
      operator_writes_(parts.model, access_),
      model_listing_(parts.model, parts.registry, owner_name),
      resource_listing_(parts.model, parts.registry, parts.removed, model_listing_, owner_name),
      model_(parts.model),
      lists_(parts.lists),
      registry_(parts.registry),
      pool_(pool),
      actions_(std::move(actions)) {}

void OwnerMethods::answer(Session& session, const std::string& method, GVariant* arguments,
                          GDBusMethodInvocation* invocation) {
    try {
        g_dbus_method_invocation_return_value(invocation, dispatch(session, method, arguments));
    } catch (const Refusal& refusal) {
        g_dbus_method_invocation_return_dbus_error(invocation, refusal.name, refusal.cause.c_str());
    }
}

void OwnerMethods::end(Session& session) {
    if (session.module != nullptr) {
        registry_.leave(session.module->bitmap_id);
        session.module = nullptr;
        mend_half_written(model_);  // it may have died at a write
    }
}

// The reply, floating.
GVariant* OwnerMethods::dispatch(Session& session, const std::string& method, GVariant* arguments) {
    if (method == "Join") {
        return join(session, arguments);
    }
    if (session.module == nullptr) {
        refuse(wire::error_refused, method + " before Join; join first");
    }
    if (method == "CopyObject") return copy_object(session, arguments);
    if (method == "ListObjects") return list_objects(arguments);
    if (method == "Listen") return listen(session, arguments);
    if (method == "RemoteGet") return remote_get(session, arguments);
    if (method == "IsOverrideLimited") {
        return g_variant_new(wire::flag_reply, access_.is_override_limited() ? TRUE : FALSE);
    }
    if (method == "MayOverride") return may_override(session, arguments);
    if (GVariant* const reply = values_.answer(*session.module, method, arguments)) return reply;
    if (GVariant* const reply = store_.answer(*session.module, method, arguments)) return reply;
    if (GVariant* const reply = boards_.answer(*session.module, method, arguments)) return reply;
    if (method == "PropertyInfos") {
        access_.check_read(*session.module, method, string_at(arguments, 0));
    }
    if (GVariant* const reply = model_listing_.answer(method, arguments)) return reply;
    if (GVariant* const reply = resource_listing_.answer(method, arguments)) return reply;
    if (GVariant* const reply = operator_writes_.answer(*session.module, method, arguments)) {
        return reply;
    }
    if (method == "ListRoutes") return list_routes();
    if (method == "EventsSent") {
        return g_variant_new(wire::count_reply, events_sent(session.module->queue_id));
    }
    if (method == "PoolUsage") {
        const PoolUsage usage = pool_usage();
        return g_variant_new(wire::usage_reply, usage.total, usage.used);
    }
    if (method == "Refresh") {
        actions_.refresh();
    } else if (method == "CopiesDropped") {
        actions_.reclaim();
    } else if (method == "Leave") {
        end(session);
    } else {
        refuse(wire::error_bad_argument, "there is no call " + method);
    }
    return g_variant_new(wire::empty_reply);
}

GVariant* OwnerMethods::join(Session& session, GVariant* arguments) {
    if (session.module != nullptr) {
        refuse(wire::error_refused,
               "this connection has joined already as \"" + session.module->name + "\"");
    }
    gint32 type = 0;
    gint32 pid = 0;
    guint32 word_bits = 0;
    g_variant_get_child(arguments, 1, "i", &type);
    g_variant_get_child(arguments, 2, "i", &pid);
    g_variant_get_child(arguments, 3, "u", &word_bits);
    compare_builds(word_bits, string_at(arguments, 4));
    if (type < MODULE_APP || type > MODULE_INTERFACE) {
        refuse(wire::error_bad_argument,
               "module type " + std::to_string(type) + " is not 0, 1 or 2");
    }
    if (pid <= 0) {
        refuse(wire::error_bad_argument, "process id " + std::to_string(pid) + " is not above 0");
    }
    const std::string name = name_at(arguments, 0, "module");
    access_.admit(name, pid);
    const auto result = registry_.join(name, static_cast<MOX_MODULE_TYPE>(type), pid);
    if (const auto* const cause = std::get_if<std::string>(&result)) {
        refuse(wire::error_refused, *cause);
    }
    session.module = std::get<const JoinedModule*>(result);
    return g_variant_new(wire::join_reply, session.module->bitmap_id, session.module->queue_id,
                         address(cls_get_share_base()), address(clt_get_class_tree_addr()),
                         address(read_stamp_table()), address(loss_table()), pool_.id, pool_.bytes);
}

GVariant* OwnerMethods::copy_object(const Session& session, GVariant* arguments) const {
    const std::string name = string_at(arguments, 0);
    const ObjectDef* const object = model_.find_object(name);
    guint32 size = 0;
    gpointer copy = nullptr;
    gint32 status = MOX_OK;
    if (object == nullptr && model_.class_of_collection(name) == nullptr) {
        status = MOX_ERR_OBJECT_NOT_FOUND;
    } else if (!access_.may_by_name(*session.module, "CopyObject", Access::read, name)) {
        status = MOX_ERR_NOT_PERMITTED;
    } else {
        const bool is_writable =
            object != nullptr && access_.has(*session.module, Access::write, *object);
        status = lom_copy_object(name.c_str(), &size, &copy, session.module->bitmap_id,
                                 is_writable ? TRUE : FALSE);
    }
    GVariant* const reply =
        g_variant_new("(i@ay)", status, bytes_value(copy, status == MOX_OK ? size : 0));
    g_free(copy);
    return reply;
}

GVariant* OwnerMethods::list_routes() const {
    GVariantBuilder routes;
    g_variant_builder_init(&routes, G_VARIANT_TYPE("a(ayii)"));
    for (const ROUTE_S& route : live_routes(registry_, model_.profile().classes)) {
        g_variant_builder_add(&routes, "(^ayii)", route.target_name, route.target.rpc_port,
                              route.target.msg_que_id);
    }
    return g_variant_new(wire::routes_reply, &routes);
}

GVariant* OwnerMethods::list_objects(GVariant* arguments) const {
    const std::string class_name = string_at(arguments, 0);
    if (!class_name.empty() && model_.find_class(class_name) == nullptr) {
        refuse(wire::error_not_found, "there is no class \"" + class_name + "\"");
    }
    GVariantBuilder names;
    g_variant_builder_init(&names, G_VARIANT_TYPE_STRING_ARRAY);
    for (const ObjectDef* const object : model_.objects_of(class_name)) {
        g_variant_builder_add(&names, "s", object->name.c_str());
    }
    return g_variant_new(wire::names_reply, &names);
}

GVariant* OwnerMethods::listen(const Session& session, GVariant* arguments) {
    const std::string class_name = string_at(arguments, 0);
    const std::string property = string_at(arguments, 1);
    const ClassDef* const entry = model_.find_class(class_name);
    if (entry == nullptr) {
        refuse(wire::error_not_found, "there is no class \"" + class_name + "\"");
    }
    if (!has_property(*entry, property)) {
        refuse(wire::error_not_found,
               "class \"" + class_name + "\" has no property \"" + property + "\"");
    }
    access_.check_listen(*session.module, *entry);
    if (!lists_.add(class_name, property, session.module->queue_id)) {
        refuse(wire::error_refused, "the pool has no room for one more listener");
    }
    return g_variant_new(wire::empty_reply);
}

// Asked by a module before it overrides a property, or ends that, by itself.
GVariant* OwnerMethods::may_override(const Session& session, GVariant* arguments) const {
    const bool may = access_.may_by_name(*session.module, "MayOverride", Access::override_it,
                                         string_at(arguments, 0));
    return status_value(may ? MOX_OK : MOX_ERR_NOT_PERMITTED);
}

GVariant* OwnerMethods::remote_get(const Session& session, GVariant* arguments) const {
    constexpr guint32 whole_value = 8;
    gint32 offset = 0;
    guint32 length = 0;
    g_variant_get_child(arguments, 2, "i", &offset);
    g_variant_get_child(arguments, 3, "u", &length);
    if (offset < 0 || length > wire::max_remote_bytes) {
        refuse(wire::error_bad_argument, "offset " + std::to_string(offset) + ", length " +
                                             std::to_string(length) +
                                             ": the offset must not be negative, the length at "
                                             "most " +
                                             std::to_string(wire::max_remote_bytes));
    }
    const ObjectDef* const object = model_.find_object(string_at(arguments, 0));
    std::vector<guint8> data(offset == 0 && length == 0 ? whole_value : length);
    const char* const property = string_at(arguments, 1);
    gint32 status = MOX_OK;
    if (object == nullptr) {
        status = MOX_ERR_OBJECT_NOT_FOUND;
    } else if (!access_.may_read(*session.module, "RemoteGet", *object, property)) {
        status = MOX_ERR_NOT_PERMITTED;
    } else {
        status = lom_block_read(lom_name_to_handle(object->name.c_str()), property, offset, length,
                                data.data());
    }
    return g_variant_new("(i@ay)", status,
                         bytes_value(data.data(), status == MOX_OK ? data.size() : 0));
}

}  // namespace mox::host
