// Announcing a change of a property to the queues that listen to it, at once, one message per
// queue; and the counters of events sent and received. Counting comes before sending and whether or
// not anybody listens.
#include <classnode.h>
#include <ipcmsg.h>
#include <lom/event.h>
#include <pub.h>

#include "base/glib_ptr.hpp"
#include "base/published.hpp"
#include "lom/event.hpp"
#include "lom/object_ref.hpp"

namespace {

// Counts as lost what the listeners to these names are not sent.
void tell_unsent(const CLASS_OBJECT_LIST_S* name, const gchar* property_name, gint32 result) {
    for (; name != nullptr; name = mox::read_published(name->next)) {
        GSList* list = nullptr;
        cls_get_listener_list(name->class_name, property_name, &list);
        const mox::SListPtr listeners(list);
        ipc_msg_tell_lost(list, MOX_MSG_PROPERTY_EVENT, result);
    }
}

}  // namespace

gint32 _send_property_event(const gchar* class_name, const gchar* object_name,
                            const gchar* property_name, GVariant* property_value) {
    GSList* list = nullptr;
    gint32 result = cls_get_listener_list(class_name, property_name, &list);
    if (result != MOX_OK) {
        return result;
    }
    const mox::SListPtr listeners(list);
    lom_count_event(lom_name_to_handle(object_name), property_name, TRUE);
    if (list == nullptr) {
        return MOX_OK;
    }
    gchar type[PUB_TYPE_LENGTH];
    g_strlcpy(type, g_variant_get_type_string(property_value), sizeof(type));
    result = ipc_msg_property_event(list, object_name, property_name, type,
                                    g_variant_get_size(property_value), property_value);
    if (result != MOX_OK) {
        pub_debug_print(MX_DBG_ERR, "%s.%s prop event notify failed: %d!\r\n ", object_name,
                        property_name, result);
    }
    return result;
}

gint32 lom_property_event(OBJ_HANDLE obj_handle, const gchar* property_name,
                          GVariant* property_value, gboolean group_send) {
    const mox::ObjectRef object = mox::find_local(obj_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    if (property_name == nullptr || property_value == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    if (!group_send) {
        return _send_property_event(object->class_name, object->object_name, property_name,
                                    property_value);
    }
    if (object->name_list == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    for (const CLASS_OBJECT_LIST_S* name = object->name_list; name != nullptr;
         name = mox::read_published(name->next)) {
        const gint32 result = _send_property_event(name->class_name, name->object_name,
                                                   property_name, property_value);
        if (result != MOX_OK) {
            tell_unsent(mox::read_published(name->next), property_name, result);
            return result;
        }
    }
    return MOX_OK;
}

void mox::tell_unsent_event(OBJ_HANDLE obj_handle, const gchar* property_name, gint32 result) {
    if (const mox::ObjectRef object = mox::find_local(obj_handle)) {
        tell_unsent(object->name_list, property_name, result);
    }
}

gint32 lom_count_event(OBJ_HANDLE object_handle, const gchar* property_name, gboolean send) {
    if (object_handle == 0 || property_name == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    const mox::ObjectRef object = mox::find_local(object_handle);
    if (!object) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    auto* local = object->property_hash == nullptr
                      ? nullptr
                      : static_cast<LOCAL_PROPERTY_S*>(
                            g_hash_table_lookup(object->property_hash, property_name));
    if (local == nullptr) {
        return MOX_ERR_PROPERTY_NOT_FOUND;
    }
    // A plain increment: threads that count one property at the same time may lose counts, and pay
    // nothing.
    guint32& counter = send ? local->change_cnt : local->receive_cnt;
    mox::publish(counter, mox::read_published(counter) + 1);
    return MOX_OK;
}
