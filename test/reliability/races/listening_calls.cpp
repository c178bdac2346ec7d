// Listeners that are added and replaced while others announce to them, the queues that they read,
// and collections of a class's objects.
//
// What holds: a list that was replaced is kept until the threads have ended, since one may be
// walking it.
#include <ipcmsg.h>
#include <moxplat/osal.h>
#include <shmem.h>

#include <cstddef>
#include <cstring>
#include <memory>

#include "../run_options.hpp"
#include "expect.hpp"

namespace mox::test {
namespace {

constexpr gint32 kMostPorts = 8;
constexpr std::size_t kMostReplaced = 2000;  // of lists that wait for the end
const char* const kHeard[] = {"Label", "Note", "Level"};

using Node = SERIALIZED_LISTENER_LIST_S;

Node* first_list = nullptr;
std::vector<Node*>& replaced() {
    static std::vector<Node*> lists;
    return lists;
}

CLS_HANDLE fan_class() {
    return cls_get_class("Fan");
}

// A list of one port for one property, as the owner makes it when a module has left.
Node* make_list(gint32 port) {
    auto* const node = static_cast<Node*>(shm_alloc0(sizeof(Node)));
    auto* const ports = static_cast<LISTENER_ARRAY_HEAD_S*>(
        shm_alloc0(offsetof(LISTENER_ARRAY_HEAD_S, ipc_port) + (kMostPorts + 1) * sizeof(guint32)));
    require(node != nullptr && ports != nullptr, "no room in the pool for a list of listeners");
    ports->room = kMostPorts + 1;
    ports->count = 1;
    ports->ipc_port[0] = static_cast<guint32>(port);
    node->property_name = shm_strdup("Label", PUB_NAME_LENGTH);
    node->listener_array = ports;
    return node;
}

void change_listeners(Player& player) {
    const std::lock_guard guard{player.shared.listening};
    const gint32 port = player.model.queues()[player.below(kQueues)];
    if (player.chance(20) && replaced().size() < kMostReplaced) {
        auto* const old = static_cast<Node*>(cls_get_serialized_listener_list(fan_class()));
        cls_set_serialized_listener_list(fan_class(), make_list(port));
        if (old != first_list) replaced().push_back(old);
        return;
    }
    cls_add_listener_port(fan_class(), kHeard[player.below(3)], port, kMostPorts);
}

void list_listeners(Player& player) {
    GSList* ports = nullptr;
    expect_code(player, cls_get_listener_list("Fan", kHeard[player.below(3)], &ports), {MOX_OK},
                "a list of listeners");
    for (const GSList* item = ports; item != nullptr; item = item->next) {
        bool is_known = false;
        for (const gint32 queue : player.model.queues()) {
            is_known |= queue == GPOINTER_TO_INT(item->data);
        }
        require(is_known, "a port that never listened is listed");
    }
    g_slist_free(ports);
}

// An event's text was written whole.
void look_at_event(Player& player, const MOX_MSG_S& message) {
    require(message.head.msg_type == MOX_MSG_PROPERTY_EVENT, "a message that nobody sent");
    MSG_EVENT_DATA_HEAD_S head;
    std::memcpy(&head, message.data, sizeof head);
    require(head.size != 0 && sizeof head + head.size <= message.head.length, "a cut event");
    const auto* const bytes = reinterpret_cast<const char*>(message.data + sizeof head);
    ++player.events;
    if (head.type[0] == 's') {
        expect_whole(player, std::string(bytes, head.size - 1),
                     std::string("an event of ") + head.object_name);
    }
}

void take_events(Player& player) {
    const auto message = std::make_unique<MOX_MSG_S>();
    for (const gint32 queue : player.model.queues()) {
        for (int count = 0; count < 200; ++count) {
            if (osal_process_queue_receive(queue, message.get(), sizeof *message, 0) < 0) break;
            look_at_event(player, *message);
        }
    }
}

void collect(Player& player) {
    {
        const std::lock_guard guard{player.shared.collecting};
        cls_create_collection("Board", cls_get_class("Board"), nullptr);
    }
    GSList* objects = nullptr;
    expect_code(player, cls_get_object_list(cls_get_class("Board"), &objects),
                {MOX_OK, MOX_ERR_OBJECT_NOT_FOUND}, "a list of a class's objects");
    require(g_slist_length(objects) <= 2 * kThreads, "more boards are listed than there are");
    g_slist_free(objects);
    cls_name_is_type("Board", "Fan");
}

void read_collection(Player& player) {
    GVariant* value = nullptr;
    const gint32 code =
        lom_get_property_value(lom_name_to_handle("Board:C"), "List", FALSE, &value, FALSE);
    expect_code(player, code, {MOX_OK, MOX_ERR_OBJECT_NOT_FOUND}, "a read of a collection");
    if (code != MOX_OK) return;
    for (gsize at = 0; at < g_variant_n_children(value); ++at) {
        const gchar* name = nullptr;
        g_variant_get_child(value, at, "&s", &name);
        require(name[0] == 'B' && std::strlen(name) == 3,
                std::string("a collection lists the object ") + name);
    }
    ++player.values;
    g_variant_unref(value);
}

}  // namespace

void start_listening(const Model& model) {
    for (const char* const property : kHeard) {
        cls_add_listener_port(fan_class(), property, model.queues()[0], kMostPorts);
    }
    first_list = static_cast<Node*>(cls_get_serialized_listener_list(fan_class()));
}

void restore_listeners() {
    auto* const last = static_cast<Node*>(cls_get_serialized_listener_list(fan_class()));
    cls_set_serialized_listener_list(fan_class(), first_list);
    if (last != first_list) replaced().push_back(last);
    for (Node* node : replaced()) {
        while (node != nullptr) {
            Node* const next = node->next;
            shm_free(node->listener_array);
            shm_free(node->property_name);
            shm_free(node);
            node = next;
        }
    }
    replaced().clear();
}

const std::vector<NamedCall>& listening_calls() {
    static const std::vector<NamedCall> calls = {
        {"change listeners", 3, change_listeners}, {"list listeners", 3, list_listeners},
        {"take events", 5, take_events},           {"collect", 3, collect},
        {"read a collection", 3, read_collection},
    };
    return calls;
}

}  // namespace mox::test
