// After this check a receiver may read every field of a payload, and its texts as terminated
// strings.
#include "module/message_check.hpp"

#include <ipcmsg.h>

#include <cstddef>
#include <cstring>

namespace mox::host {
namespace {

constexpr guint32 message_version = 1;

bool is_terminated(const gchar* text, gsize room) {
    return std::memchr(text, 0, room) != nullptr;
}

const char* property_event_fault(const guint8* payload, gsize length) {
    if (length < sizeof(MSG_EVENT_DATA_HEAD_S)) {
        return "a property event shorter than its head";
    }
    MSG_EVENT_DATA_HEAD_S head;
    std::memcpy(&head, payload, sizeof head);
    if (head.size != length - sizeof head) {
        return "a property event whose value size does not match";
    }
    if (!is_terminated(head.object_name, sizeof head.object_name) ||
        !is_terminated(head.property_name, sizeof head.property_name) ||
        !is_terminated(head.type, sizeof head.type)) {
        return "a property event with an endless name";
    }
    if (g_variant_type_string_is_valid(head.type) == FALSE ||
        g_variant_type_is_definite(G_VARIANT_TYPE(head.type)) == FALSE) {
        return "a property event with an unknown type";
    }
    return nullptr;
}

const char* new_object_fault(const guint8* payload, gsize length) {
    guint32 size = 0;
    if (length < offsetof(MSG_NEW_OBJ_EVENT_S, data)) {
        return "a new-object event shorter than its head";
    }
    std::memcpy(&size, payload, sizeof size);
    return size == length - offsetof(MSG_NEW_OBJ_EVENT_S, data)
               ? nullptr
               : "a new-object event whose size does not match";
}

const char* payload_fault(guint32 type, const guint8* payload, gsize length) {
    switch (static_cast<MOX_MSG_TYPE>(type)) {
        case MOX_MSG_PROPERTY_EVENT:
            return property_event_fault(payload, length);
        case MOX_MSG_ADD_OBJECT:
            return new_object_fault(payload, length);
        case MOX_MSG_DEL_OBJECT:
            return length == sizeof(MSG_DEL_RU_EVENT_S) ? nullptr
                                                        : "a deletion event of a wrong size";
        case MOX_MSG_DUMP:
            return length > 0 && payload[length - 1] == 0 ? nullptr
                                                          : "a dump request with an endless path";
        case MOX_MSG_RECV_IPMI_REQUEST:
        case MOX_MSG_RECV_IPMI_RESPONSE:
        case MOX_MSG_SEND_IPMI_REQUEST:
        case MOX_MSG_SEND_IPMI_RESPONSE:
            return nullptr;
        case MOX_MSG_END:
            break;
    }
    return "an unknown message type";
}

}  // namespace

const char* message_fault(gconstpointer bytes, gsize size) {
    MOX_MSG_HEAD_S head;
    if (size < sizeof head) {
        return "shorter than a header";
    }
    if (size > sizeof(MOX_MSG_S)) {
        return "longer than a message";
    }
    std::memcpy(&head, bytes, sizeof head);
    if (std::memcmp(head.msg_head, IPC_MSG_MAGIC, sizeof IPC_MSG_MAGIC) != 0) {
        return "a wrong magic";
    }
    if (head.msg_ver != message_version) {
        return "an unknown version";
    }
    if (head.length != size - sizeof head) {
        return "a length that does not match";
    }
    return payload_fault(head.msg_type, static_cast<const guint8*>(bytes) + sizeof head,
                         head.length);
}

}  // namespace mox::host
