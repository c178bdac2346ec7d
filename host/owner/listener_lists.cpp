// Other processes walk the lists without a lock, so a list is never changed but by adding. To take
// a port away, a new list without it is built whole and put in the old one's place; the old one is
// given back to the pool some seconds later, when every walk over it has long ended.
#include "owner/listener_lists.hpp"

#include <pub.h>
#include <shmem.h>

#include <algorithm>
#include <atomic>
#include <cstddef>

namespace mox::host {
namespace {

// Ports of one property: as many as there are bitmap ids for modules.
constexpr gint32 max_ports = 127;
constexpr guint check_interval_s = 1;
constexpr gint64 grace_us = 5 * G_USEC_PER_SEC;

using Node = SERIALIZED_LISTENER_LIST_S;
using Ports = LISTENER_ARRAY_HEAD_S;

Node* head_of(const std::string& class_name) {
    return static_cast<Node*>(cls_get_serialized_listener_list(cls_get_class(class_name.c_str())));
}

guint32* find_port(Ports* ports, gint32 port) {
    if (ports == nullptr) {
        return nullptr;
    }
    guint32* const end = ports->ipc_port + ports->count;
    guint32* const found = std::find(ports->ipc_port, end, static_cast<guint32>(port));
    return found == end ? nullptr : found;
}

bool list_has(Node* list, gint32 port) {
    bool has = false;
    for (const Node* node = list; node != nullptr && !has; node = node->next) {
        has = find_port(node->listener_array, port) != nullptr;
    }
    return has;
}

void free_list(Node* list) {
    while (list != nullptr) {
        Node* const next = list->next;
        shm_free(list->listener_array);
        shm_free(list->property_name);
        shm_free(list);
        list = next;
    }
}

Ports* copy_ports(const Ports& ports, gint32 without) {
    auto* const copy =
        static_cast<Ports*>(shm_alloc0(offsetof(Ports, ipc_port) + ports.room * sizeof(guint32)));
    if (copy == nullptr) {
        return nullptr;
    }
    copy->room = ports.room;
    for (guint8 at = 0; at < ports.count; ++at) {
        if (ports.ipc_port[at] != static_cast<guint32>(without)) {
            copy->ipc_port[copy->count++] = ports.ipc_port[at];
        }
    }
    return copy;
}

Node* copy_node(const Node& node, gint32 without) {
    auto* const copy = static_cast<Node*>(shm_alloc0(sizeof(Node)));
    if (copy == nullptr) {
        return nullptr;
    }
    copy->property_name = shm_strdup(node.property_name, PUB_NAME_LENGTH);
    copy->listener_array =
        node.listener_array == nullptr ? nullptr : copy_ports(*node.listener_array, without);
    if (copy->property_name == nullptr ||
        (copy->listener_array == nullptr && node.listener_array != nullptr)) {
        free_list(copy);
        return nullptr;
    }
    return copy;
}

// The same list without the port; null when the pool has no room. A property without ports keeps
// its node: a class's list cannot be emptied again.
Node* copy_list(const Node* list, gint32 without) {
    Node* first = nullptr;
    Node** link = &first;
    for (; list != nullptr; list = list->next) {
        *link = copy_node(*list, without);
        if (*link == nullptr) {
            free_list(first);
            return nullptr;
        }
        link = &(*link)->next;
    }
    return first;
}

// For a pool without room: the last port takes the removed one's place. A walk at this very moment
// may meet the last port twice, never one that is gone.
void remove_in_place(Node* list, gint32 port) {
    for (Node* node = list; node != nullptr; node = node->next) {
        guint32* const found = find_port(node->listener_array, port);
        if (found != nullptr) {
            guint8& count = node->listener_array->count;
            std::atomic_ref<guint32>(*found).store(node->listener_array->ipc_port[count - 1],
                                                   std::memory_order_release);
            std::atomic_ref<guint8>(count).store(static_cast<guint8>(count - 1),
                                                 std::memory_order_release);
        }
    }
}

}  // namespace

ListenerLists::ListenerLists(std::vector<std::string> class_names)
    : class_names_(std::move(class_names)) {}

ListenerLists::~ListenerLists() {
    if (timer_ != 0) {
        g_source_remove(timer_);
    }
}

bool ListenerLists::add(const std::string& class_name, const std::string& property, gint32 port) {
    cls_add_listener_port(cls_get_class(class_name.c_str()), property.c_str(), port, max_ports);
    GSList* ports = nullptr;
    cls_get_listener_list(class_name.c_str(), property.c_str(), &ports);
    const bool is_there = g_slist_find(ports, GINT_TO_POINTER(port)) != nullptr;
    g_slist_free(ports);
    return is_there;
}

void ListenerLists::remove_port(gint32 port) {
    for (const std::string& class_name : class_names_) {
        Node* const list = head_of(class_name);
        if (!list_has(list, port)) {
            continue;
        }
        Node* const without = copy_list(list, port);
        if (without == nullptr) {
            remove_in_place(list, port);
            continue;
        }
        cls_set_serialized_listener_list(cls_get_class(class_name.c_str()), without);
        retire(list);
    }
}

void ListenerLists::retire(Node* list) {
    retired_.push_back({list, g_get_monotonic_time() + grace_us});
    if (timer_ == 0) {
        timer_ = g_timeout_add_seconds(
            check_interval_s,
            [](gpointer self) -> gboolean {
                return static_cast<ListenerLists*>(self)->free_due(g_get_monotonic_time());
            },
            this);
    }
}

// True as long as something is left to free.
bool ListenerLists::free_due(gint64 now_us) {
    while (!retired_.empty() && retired_.front().free_at_us <= now_us) {
        free_list(retired_.front().list);
        retired_.pop_front();
    }
    if (retired_.empty()) {
        timer_ = 0;
    }
    return !retired_.empty();
}

}  // namespace mox::host
