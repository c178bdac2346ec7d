// Announcing a change of a property to the queues that listen to it, at once, one message per
// queue; and the counters of events sent and received. Counting comes before sending and whether or
// not anybody listens.
#include <classnode.h>
#include <ipcmsg.h>
#include <lom/event.h>
#include <pub.h>

#include "base/listener_list.hpp"
#include "base/published.hpp"
#include "base/record_text.hpp"
#include "lom/event.hpp"
#include "lom/object_ref.hpp"
#include "lom/property_state.hpp"

namespace {

// Counts as lost what the listeners to these names are not sent.
void tell_unsent(const CLASS_OBJECT_LIST_S* name, const gchar* property_name, gint32 result) {
    for (; name != nullptr; name = mox::read_published(name->next)) {
        mox::ListenerList listeners;
        listeners.find(name->class_name, property_name);
        ipc_msg_tell_lost(listeners.first(), MOX_MSG_PROPERTY_EVENT, result);
    }
}

// A plain increment: threads that count one property at the same time may lose counts, and pay
// nothing.
gint32 count(LOCAL_PROPERTY_S* entry, gboolean send) {
    if (entry == nullptr) {
        return MOX_ERR_PROPERTY_NOT_FOUND;
    }
    guint32& counter = send ? entry->change_cnt : entry->receive_cnt;
    mox::publish(counter, mox::read_published(counter) + 1);
    return MOX_OK;
}

// An object's own name is most often the very text of its record.
bool is_name_of(const OBJECT_HEAD_S& object, const gchar* name) {
    return object.object_name == name || g_strcmp0(object.object_name, name) == 0;
}

// Sends one object's event. known: a record that the caller holds, where the event of its own name
// is counted without a lookup of the object; nullable.
gint32 send_event(const OBJECT_HEAD_S* known, const gchar* class_name, const gchar* object_name,
                  const gchar* property_name, GVariant* property_value) {
    mox::ListenerList listeners;
    gint32 result = listeners.find(class_name, property_name);
    if (result != MOX_OK) {
        return result;
    }
    if (known != nullptr && is_name_of(*known, object_name)) {
        count(mox::find_entry(*known, property_name), TRUE);
    } else {
        lom_count_event(lom_name_to_handle(object_name), property_name, TRUE);
    }
    if (listeners.first() == nullptr) {
        return MOX_OK;
    }
    gchar type[PUB_TYPE_LENGTH] = {};
    mox::copy_text(type, g_variant_get_type_string(property_value));
    result = ipc_msg_property_event(listeners.first(), object_name, property_name, type,
                                    g_variant_get_size(property_value), property_value);
    if (result != MOX_OK) {
        pub_debug_print(MX_DBG_ERR, "%s.%s prop event notify failed: %d!\r\n ", object_name,
                        property_name, result);
    }
    return result;
}

}  // namespace

gint32 _send_property_event(const gchar* class_name, const gchar* object_name,
                            const gchar* property_name, GVariant* property_value) {
    return send_event(nullptr, class_name, object_name, property_name, property_value);
}

gint32 mox::announce(const OBJECT_HEAD_S& object, const gchar* property_name,
                     GVariant* property_value) {
    if (read_published(object.status) == OBJECT_MARK_DEL) {
        return MOX_ERR_OBJECT_NOT_FOUND;
    }
    if (property_name == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    if (object.name_list == nullptr) {
        return MOX_ERR_INTERNAL;
    }
    for (const CLASS_OBJECT_LIST_S* name = object.name_list; name != nullptr;
         name = read_published(name->next)) {
        const gint32 result =
            send_event(&object, name->class_name, name->object_name, property_name, property_value);
        if (result != MOX_OK) {
            tell_unsent(read_published(name->next), property_name, result);
            return result;
        }
    }
    return MOX_OK;
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
    if (group_send) {
        return mox::announce(*object, property_name, property_value);
    }
    return send_event(object.get(), object->class_name, object->object_name, property_name,
                      property_value);
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
    return count(mox::find_entry(*object, property_name), send);
}
