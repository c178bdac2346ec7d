#include "announcement.hpp"

#include <classnode.h>
#include <ipcmsg.h>

#include "model.hpp"
#include "receivers.hpp"

namespace mox::bench {
namespace {

constexpr const char* kToAll = "Value1";
constexpr gsize kMessageSize = sizeof(MOX_MSG_HEAD_S) + 76 + 4;
constexpr gsize kBodySize = kMessageSize - sizeof(gint32);

// What the system's call takes: its type is a long.
struct SystemMessage {
    long type;
    char body[kBodySize];
};

bool send_to(int receiver, const SystemMessage& message) {
    return msgsnd(receiver_queue(receiver), &message, kBodySize, IPC_NOWAIT) == 0;
}

}  // namespace

OBJ_HANDLE announcing_object() {
    static const OBJ_HANDLE handle = [] {
        gint32 own_port = 0;
        osal_process_queue_create(&own_port);
        ipc_msg_set_port(own_port);
        CLS_HANDLE announcing = cls_get_class(kAnnouncingClass);
        cls_add_listener_port(announcing, kProperty, receiver_queue(0), kReceivers);
        for (int receiver = 0; receiver < kReceivers; ++receiver) {
            cls_add_listener_port(announcing, kToAll, receiver_queue(receiver), kReceivers);
        }
        make_objects("other", 1000, 0);
        return make_announcing_object("announcing");
    }();
    return handle;
}

bool write_next_number(OBJ_HANDLE object, const char* property) {
    static guint32 number = 100;
    GVariant* value = g_variant_ref_sink(g_variant_new_uint32(++number));
    const gint32 result =
        lom_set_property_value(object, property, value, PER_MODE_NOSUPPORT, FALSE);
    g_variant_unref(value);
    return result == MOX_OK;
}

bool AnnouncementFloor::announce(int receivers) {
    GVariant* value = g_variant_ref_sink(g_variant_new_uint32(7));
    find_object();
    find_property("Value5");
    osal_process_sem_p(semid, member);
    std::memcpy(&stored_, g_variant_get_data(value), sizeof(stored_));
    benchmark::DoNotOptimize(stored_);
    osal_process_sem_v(semid, member);
    find_listeners("Value5");
    auto* message = static_cast<SystemMessage*>(g_malloc0(sizeof(SystemMessage)));
    message->type = 1;
    bool is_sent = true;
    for (int receiver = 0; receiver < receivers; ++receiver) {
        look_for_level();
        is_sent = send_to(receiver, *message) && is_sent;
    }
    g_free(message);
    g_variant_unref(value);
    return is_sent;
}

bool AnnouncementFloor::send_bare(int receiver) {
    static const SystemMessage message = {1, {}};
    return send_to(receiver, message);
}

}  // namespace mox::bench
