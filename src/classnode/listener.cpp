// The ports that listen to a property, in the pool. Readers in other processes take no lock against
// the one writer, the owner: a node is whole before it is linked, a port lies in its slot before
// the count includes it, and nothing is ever removed or moved.
#include "classnode/listener.hpp"

#include <pub.h>
#include <shmem.h>

#include <algorithm>
#include <cstddef>

#include "base/listener_list.hpp"
#include "base/published.hpp"
#include "classnode/class_table.hpp"

static_assert(offsetof(LISTENER_ARRAY_HEAD_S, ipc_port) == 4);

namespace {

using mox::kMostPorts;

bool holds_port(const LISTENER_ARRAY_HEAD_S* array, guint32 port) {
    const guint32* end = array->ipc_port + array->count;
    return std::find(array->ipc_port, end, port) != end;
}

// Adds a further port; one that is known, or over the limit, is dropped silently.
void add_port(LISTENER_ARRAY_HEAD_S* array, guint32 port, gint32 max_cnt) {
    const guint8 count = array->count;
    if (holds_port(array, port) || count >= max_cnt || count >= kMostPorts ||
        count >= array->room) {
        return;
    }
    array->ipc_port[count] = port;
    mox::publish(array->count, static_cast<guint8>(count + 1));
}

// The first node of a class's listener lists, or null.
const SERIALIZED_LISTENER_LIST_S* first_node(CLS_HANDLE class_handle) {
    const SHARE_CLASS_DATA_S* share =
        class_handle == nullptr ? nullptr : mox::read_published(class_handle->share);
    return share == nullptr ? nullptr : mox::read_published(share->listener_array);
}

// Calls visit(index, port) for each port, oldest first, with the class-table lock held.
template <typename Visit>
gint32 visit_ports(const gchar* class_name, const gchar* property_name, Visit visit) {
    if (class_name == nullptr || property_name == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    mox::MutexGuard guard(class_table_lock());
    CLS_HANDLE class_handle = known_class(class_name);
    if (class_handle == nullptr) [[unlikely]] {
        guard.unlock();
        class_handle = _add_new_class(class_name);
        guard.lock();
    }
    const SERIALIZED_LISTENER_LIST_S* node = first_node(class_handle);
    while (node != nullptr && g_strcmp0(node->property_name, property_name) != 0) {
        node = mox::read_published(node->next);
    }
    const LISTENER_ARRAY_HEAD_S* array =
        node == nullptr ? nullptr : mox::read_published(node->listener_array);
    const guint8 count = array == nullptr ? 0 : mox::read_published(array->count);
    for (guint8 index = 0; index < count; ++index) {
        visit(index, static_cast<gint32>(array->ipc_port[index]));
    }
    return MOX_OK;
}

}  // namespace

LISTENER_ARRAY_HEAD_S* _create_listener_array(gint32 port, gint32 max_cnt) {
    const auto room = static_cast<guint16>(std::clamp(max_cnt, 0, kMostPorts) + 1);
    auto* array = static_cast<LISTENER_ARRAY_HEAD_S*>(
        shm_alloc0(offsetof(LISTENER_ARRAY_HEAD_S, ipc_port) + room * sizeof(guint32)));
    if (array != nullptr) {
        array->room = room;
        array->ipc_port[0] = static_cast<guint32>(port);
        array->count = 1;
    }
    return array;
}

SERIALIZED_LISTENER_LIST_S* _create_listener_node(const gchar* property_name, gint32 port,
                                                  gint32 max_cnt) {
    auto* node = property_name == nullptr ? nullptr
                                          : static_cast<SERIALIZED_LISTENER_LIST_S*>(
                                                shm_alloc0(sizeof(SERIALIZED_LISTENER_LIST_S)));
    if (node != nullptr) {
        node->property_name = shm_strdup(property_name, PUB_NAME_LENGTH);
        node->listener_array = _create_listener_array(port, max_cnt);
    }
    return node;
}

void cls_add_listener_port(CLS_HANDLE class_handle, const gchar* property_name, gint32 port,
                           gint32 max_cnt) {
    if (class_handle == nullptr || class_handle->share == nullptr || property_name == nullptr ||
        !shm_is_owner()) {
        return;
    }
    SERIALIZED_LISTENER_LIST_S** link = &class_handle->share->listener_array;
    while (*link != nullptr && g_strcmp0((*link)->property_name, property_name) != 0) {
        link = &(*link)->next;
    }
    SERIALIZED_LISTENER_LIST_S* node = *link;
    if (node == nullptr) {
        mox::publish(*link, _create_listener_node(property_name, port, max_cnt));
    } else if (node->listener_array == nullptr) {
        mox::publish(node->listener_array, _create_listener_array(port, max_cnt));
    } else {
        add_port(node->listener_array, static_cast<guint32>(port), max_cnt);
    }
}

namespace mox {

gint32 ListenerList::find(const gchar* class_name, const gchar* property_name) {
    return visit_ports(class_name, property_name, [this](guint8 index, gint32 port) {
        nodes_[index] = {GINT_TO_POINTER(port), first_};
        first_ = &nodes_[index];
    });
}

}  // namespace mox

gint32 cls_get_listener_list(const gchar* class_name, const gchar* property_name,
                             GSList** listener_list) {
    if (listener_list == nullptr) {
        return MOX_ERR_BAD_ARGUMENT;
    }
    GSList* list = nullptr;
    const gint32 result = visit_ports(class_name, property_name, [&list](guint8, gint32 port) {
        list = g_slist_prepend(list, GINT_TO_POINTER(port));
    });
    if (result == MOX_OK) {
        *listener_list = list;
    }
    return result;
}

gpointer cls_get_serialized_listener_list(CLS_HANDLE class_handle) {
    return class_handle == nullptr || class_handle->share == nullptr
               ? nullptr
               : mox::read_published(class_handle->share->listener_array);
}

void cls_set_serialized_listener_list(CLS_HANDLE class_handle, gpointer list) {
    if (class_handle != nullptr && list != nullptr && class_handle->share != nullptr) {
        mox::publish(class_handle->share->listener_array,
                     static_cast<SERIALIZED_LISTENER_LIST_S*>(list));
    }
}
