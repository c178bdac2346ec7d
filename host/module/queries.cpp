// What a joined module asks and is told.
#include <lom.h>

#include <cstring>

#include "module/dropped_copies.hpp"
#include "module/host_error.hpp"
#include "module/module.hpp"
#include "module/owner_link.hpp"
#include "wire/interface.hpp"

namespace mox::host {
namespace {

// The handle of a name that is known here; unlike the library's, it makes none.
OBJ_HANDLE known_handle(const gchar* object_name) {
    return static_cast<OBJ_HANDLE>(g_quark_try_string(object_name));
}

// A listener that is told of a removal finds nothing here any more, whether or not the owner's word
// to this process has come yet.
void drop_removed(const MOX_MSG_S& message) {
    if (message.head.msg_type == MOX_MSG_DEL_OBJECT) {
        MSG_DEL_RU_EVENT_S event;
        std::memcpy(&event, message.data, sizeof event);
        drop_copies(event.position);
    }
}

void count_received(const MOX_MSG_S& message) {
    if (message.head.msg_type == MOX_MSG_PROPERTY_EVENT) {
        MSG_EVENT_DATA_HEAD_S head;
        std::memcpy(&head, message.data, sizeof head);
        // Objects that were not looked up here have no counters.
        lom_count_event(known_handle(head.object_name), head.property_name, FALSE);
    }
}

gchar** property_names(const OBJECT_HEAD_S& record) {
    gchar** const names = g_new0(gchar*, gsize{record.property_count} + 1);
    guint32 at = 0;
    for (const SERIALISED_PROPERTY_S* property = record.property_entry;
         property != nullptr && at < record.property_count; property = property->next_ptr) {
        names[at++] = g_strdup(property->name);
    }
    return names;
}

}  // namespace
}  // namespace mox::host

using namespace mox::host;

gchar** moxhost_list_objects(MoxHostModule*, const gchar* class_name, GError** error) {
    const gchar* const name = class_name == nullptr ? "" : class_name;
    if (!check_text(name, "class", error)) {
        return nullptr;
    }
    const VariantPtr reply =
        owner_link().call("ListObjects", g_variant_new("(s)", name), wire::names_reply, error);
    if (!reply) {
        return nullptr;
    }
    gchar** names = nullptr;
    g_variant_get(reply.get(), "(^as)", &names);
    return names;
}

gchar** moxhost_list_properties(MoxHostModule*, const gchar* object_name, GError** error) {
    if (!check_text(object_name, "object", error)) {
        return nullptr;
    }
    guint32 size = 0;
    gpointer copy = nullptr;
    // Looked up, so that it is here; then copied for no module, so that no bit changes.
    if (lom_get_object_handle(object_name) == 0 ||
        lom_copy_object(object_name, &size, &copy, 0, FALSE) != MOX_OK) {
        if (owner_link().is_lost()) {
            set_error(error, MOXHOST_ERROR_LOST,
                      std::string("object \"") + object_name +
                          "\" is not here, and the connection to the owner is gone");
            return nullptr;
        }
        set_error(error, MOXHOST_ERROR_NOT_FOUND,
                  std::string("there is no object \"") + object_name + "\"");
        return nullptr;
    }
    gchar** const names = property_names(*static_cast<const OBJECT_HEAD_S*>(copy));
    g_free(copy);
    return names;
}

gboolean moxhost_listen(MoxHostModule*, const gchar* class_name, const gchar* property_name,
                        GError** error) {
    if (!check_text(class_name, "class", error) || !check_text(property_name, "property", error)) {
        return FALSE;
    }
    return owner_link().call("Listen", g_variant_new("(ss)", class_name, property_name),
                             wire::empty_reply, error) != nullptr;
}

void moxhost_set_message_func(MoxHostModule* module, MoxHostMessageFunc func, gpointer user_data) {
    if (func == nullptr) {
        module->inbox->set_message_func(nullptr);
        return;
    }
    module->inbox->set_message_func(
        [module, func, user_data](const MOX_MSG_S& message, gint64 arrival_ns) {
            count_received(message);
            drop_removed(message);
            func(module, &message, arrival_ns, user_data);
        });
}

void moxhost_set_lost_func(MoxHostModule* module, MoxHostLostFunc func, gpointer user_data) {
    if (func == nullptr) {
        module->inbox->set_lost_func(nullptr);
        return;
    }
    module->inbox->set_lost_func([module, func, user_data] { func(module, user_data); });
}

gboolean moxhost_refresh(MoxHostModule*, GError** error) {
    return owner_link().call("Refresh", nullptr, wire::empty_reply, error) != nullptr;
}

gint64 moxhost_change_time_ns(MoxHostModule* module, const gchar* object_name,
                              const gchar* property_name) {
    gchar accessor[32] = "";
    if (object_name == nullptr ||
        lom_get_property_accessor(known_handle(object_name), property_name, accessor,
                                  sizeof accessor) != MOX_OK) {
        return 0;
    }
    const wire::ReadStamp* const stamp = wire::find_read_stamp(module->read_stamps, accessor);
    return stamp == nullptr ? 0 : stamp->read_ns.load(std::memory_order_acquire);
}

gint64 moxhost_events_sent(MoxHostModule*, GError** error) {
    const VariantPtr reply = owner_link().call("EventsSent", nullptr, wire::count_reply, error);
    guint64 count = 0;
    if (!reply) {
        return -1;
    }
    g_variant_get(reply.get(), wire::count_reply, &count);
    return static_cast<gint64>(count);
}

gboolean moxhost_pool_usage(MoxHostModule*, guint32* total, guint32* used, GError** error) {
    const VariantPtr reply = owner_link().call("PoolUsage", nullptr, wire::usage_reply, error);
    guint32 reported_total = 0;
    guint32 reported_used = 0;
    if (!reply) {
        return FALSE;
    }
    g_variant_get(reply.get(), wire::usage_reply, &reported_total, &reported_used);
    if (total != nullptr) {
        *total = reported_total;
    }
    if (used != nullptr) {
        *used = reported_used;
    }
    return TRUE;
}
