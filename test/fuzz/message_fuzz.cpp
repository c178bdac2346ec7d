// What comes out of a queue: the check that every received message goes through, its readers, the
// emptying of a queue, and the messages that this system itself sends.
#include <ipcmsg.h>
#include <moxplat/osal.h>
#include <pub.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_input.hpp"
#include "fuzz_target.hpp"
#include "ipc_namespace.hpp"
#include "module/message_check.hpp"
#include "output.hpp"
#include "watch_filter.hpp"
#include "watch_lines.hpp"

namespace {

using mox::fuzz::Bytes;
using mox::fuzz::FuzzInput;
using mox::fuzz::promise;

gint32 queue = -1;

std::string text_of(const gchar* text) {
    return text;
}

void show_change(const mox::tool::WatchLines& lines, const guint8* payload) {
    MSG_EVENT_DATA_HEAD_S head;
    std::memcpy(&head, payload, sizeof head);
    const Bytes bytes(payload + sizeof head, payload + sizeof head + head.size);
    const mox::fuzz::VariantPtr value = mox::fuzz::untrusted(G_VARIANT_TYPE(head.type), bytes);
    lines.changed(0, text_of(head.object_name), text_of(head.property_name), value.get());
}

void show_added(const mox::tool::WatchLines& lines, const guint8* payload) {
    MSG_NEW_OBJ_EVENT_S head;
    std::memcpy(&head, payload, offsetof(MSG_NEW_OBJ_EVENT_S, data));
    const guint8* const data = payload + offsetof(MSG_NEW_OBJ_EVENT_S, data);
    const mox::fuzz::VariantPtr names =
        mox::fuzz::untrusted(G_VARIANT_TYPE_STRING_ARRAY, {data, data + head.size});
    GVariantIter iter;
    const gchar* name = nullptr;
    g_variant_iter_init(&iter, names.get());
    while (g_variant_iter_next(&iter, "&s", &name) != FALSE) {
        lines.added(0, {"Fan", name, head.position});
    }
}

// Reads an accepted message as a listener does.
void read_message(const Bytes& message) {
    static const mox::tool::Output plain(STDOUT_FILENO);
    const mox::tool::WatchLines lines(plain, false, 8, 8);
    const mox::tool::WatchLines json(plain, true, 8, 8);
    MOX_MSG_HEAD_S head;
    std::memcpy(&head, message.data(), sizeof head);
    const guint8* const payload = message.data() + sizeof head;
    for (const mox::tool::WatchLines* out : {&lines, &json}) {
        if (head.msg_type == MOX_MSG_PROPERTY_EVENT) {
            show_change(*out, payload);
        } else if (head.msg_type == MOX_MSG_ADD_OBJECT) {
            show_added(*out, payload);
        }
    }
    if (head.msg_type == MOX_MSG_DUMP) {
        promise(std::strlen(reinterpret_cast<const char*>(payload)) < head.length,
                "a dump's path ends in its message");
    }
}

// The bytes as a message, its header made right as far as the input says: otherwise hardly any
// would get behind the first check.
Bytes take_message(FuzzInput& input) {
    const guint8 made_right = input.take<guint8>();
    const auto type = static_cast<guint32>(input.below(MOX_MSG_END + 1));
    Bytes message = input.rest();
    MOX_MSG_HEAD_S head;
    if ((made_right & 1U) == 0 && message.size() >= sizeof head) {
        std::memcpy(&head, message.data(), sizeof head);
        head.mtype = 1;
        std::memcpy(head.msg_head, IPC_MSG_MAGIC, sizeof IPC_MSG_MAGIC);
        head.msg_ver = 1;
        head.msg_type = type;
        head.length = static_cast<guint32>(message.size() - sizeof head);
        std::memcpy(message.data(), &head, sizeof head);
        const std::size_t payload = sizeof head;
        const std::size_t size_at =
            payload + (type == MOX_MSG_PROPERTY_EVENT ? offsetof(MSG_EVENT_DATA_HEAD_S, size) : 0);
        if ((made_right & 2U) == 0 && message.size() >= size_at + sizeof(guint32)) {
            const std::size_t head_size = type == MOX_MSG_PROPERTY_EVENT
                                              ? sizeof(MSG_EVENT_DATA_HEAD_S)
                                              : offsetof(MSG_NEW_OBJ_EVENT_S, data);
            const auto size = static_cast<guint32>(message.size() - payload - head_size);
            std::memcpy(message.data() + size_at, &size, sizeof size);
        }
    }
    return message;
}

Bytes receive() {
    Bytes room(65540);
    const gint32 got = osal_process_queue_receive(queue, room.data(), room.size(), 0);
    promise(got >= 0, "what was sent can be received");
    room.resize(static_cast<std::size_t>(got));
    room.shrink_to_fit();
    return room;
}

void check(FuzzInput& input) {
    const Bytes message = take_message(input);
    if (mox::host::message_fault(message.data(), message.size()) == nullptr) {
        read_message(message);
    }
}

// Through a queue of the system, and some of it left for the emptying.
void receive_and_drain(FuzzInput& input) {
    Bytes message = take_message(input);
    const gint32 kind = 1;
    if (message.size() < sizeof kind) {
        return;
    }
    std::memcpy(message.data(), &kind, sizeof kind);
    if (osal_process_queue_send(queue, message.data(), message.size()) == OSAL_OK) {
        const Bytes received = receive();
        promise(received == message, "a message is received as it was sent");
        if (mox::host::message_fault(received.data(), received.size()) == nullptr) {
            read_message(received);
        }
        osal_process_queue_send(queue, message.data(), message.size());
    }
    ipc_clear_queue(queue);
    std::array<guint8, 64> room = {};
    promise(osal_process_queue_receive(queue, room.data(), room.size(), 0) == OSAL_ERR_EMPTY,
            "an emptied queue is empty");
}

// What the core sends for a change passes the receiver's check.
void send_change(FuzzInput& input) {
    const std::string object = input.line();
    const std::string property = input.line();
    const std::string type_text = input.line();
    const GVariantType* const type = mox::fuzz::type_named(type_text);
    if (type == nullptr) {
        return;
    }
    const mox::fuzz::VariantPtr value = mox::fuzz::untrusted(type, input.rest());
    const gchar* const name = g_variant_get_type_string(value.get());
    GSList listeners = {GINT_TO_POINTER(queue), nullptr};
    const gint32 result = ipc_msg_property_event(&listeners, object.c_str(), property.c_str(), name,
                                                 g_variant_get_size(value.get()), value.get());
    if (result == MOX_OK) {
        const Bytes received = receive();
        const char* const fault = mox::host::message_fault(received.data(), received.size());
        promise(fault == nullptr || std::strlen(name) >= PUB_TYPE_LENGTH,
                "a change that was sent is taken");
        if (fault == nullptr) {
            read_message(received);
        }
    }
}

void send_dump(FuzzInput& input) {
    const std::string path = input.rest_of_text();
    if (ipc_msg_send_dump(queue, path.c_str()) == MOX_OK) {
        const Bytes received = receive();
        if (mox::host::message_fault(received.data(), received.size()) == nullptr) {
            read_message(received);
        } else {
            promise(path.empty(), "a path that was sent is taken");
        }
    }
}

void send_added(FuzzInput& input) {
    static gchar class_name[] = "Fan";
    static SHARE_CLASS_DATA_S share = {class_name, nullptr, nullptr, nullptr};
    static MODULE_CLASS_NODE_S fan = {&share, nullptr};
    GSList* names = nullptr;
    const guint32 position = input.take<guint32>();
    while (input.left() > 0) {
        names = g_slist_prepend(names, g_strdup(input.line().c_str()));
    }
    ipc_msg_newobj_init();
    ipc_msg_collect_obj(queue, &fan, names);
    ipc_msg_newobj_event(position);
    ipc_msg_newobj_free();
    g_slist_free_full(names, g_free);
    Bytes room(sizeof(MOX_MSG_S));
    const gint32 got = osal_process_queue_receive(queue, room.data(), room.size(), 0);
    if (got > 0) {
        room.resize(static_cast<std::size_t>(got));
        promise(mox::host::message_fault(room.data(), room.size()) == nullptr,
                "a notice that was sent is taken");
        read_message(room);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const std::string cause = mox::test::enter_ipc_namespace();
    promise(cause.empty(), cause.c_str());
    promise(osal_process_queue_create(&queue) == OSAL_OK, "the system gives a queue");
    ipc_msg_set_port(queue);
    std::atexit([] { osal_process_release_all(); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static constexpr std::array<void (*)(FuzzInput&), 5> parts = {
        check, receive_and_drain, send_change, send_dump, send_added};
    FuzzInput input(data, size);
    parts[input.below(parts.size())](input);
    return 0;
}
