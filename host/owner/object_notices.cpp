// The lists are walked in their writer's thread.
#include "owner/object_notices.hpp"

#include <ipcmsg.h>
#include <pub.h>

namespace mox::host {
namespace {

void add_ports(CLS_HANDLE class_handle, std::set<gint32>& ports) {
    const auto* node = static_cast<const SERIALIZED_LISTENER_LIST_S*>(
        cls_get_serialized_listener_list(class_handle));
    for (; node != nullptr; node = node->next) {
        const LISTENER_ARRAY_HEAD_S* const array = node->listener_array;
        for (guint8 at = 0; array != nullptr && at < array->count; ++at) {
            ports.insert(static_cast<gint32>(array->ipc_port[at]));
        }
    }
}

}  // namespace

void gather_new_objects(CLS_HANDLE class_handle, GSList* object_names) {
    std::set<gint32> ports;
    add_ports(class_handle, ports);
    for (const gint32 port : ports) {
        ipc_msg_collect_obj(port, class_handle, object_names);
    }
}

void announce_removal(const std::set<std::string>& class_names, guint32 position) {
    std::set<gint32> ports;
    for (const std::string& name : class_names) {
        add_ports(cls_get_class(name.c_str()), ports);
    }
    for (const gint32 port : ports) {
        const gint32 result = ipc_msg_delobj_event(port, position);
        if (result != MOX_OK) {
            pub_debug_print(MX_DBG_ERR,
                            "send deletion event of position %x to queue %d failed(%d).\n",
                            position, port, result);
        }
    }
}

}  // namespace mox::host
