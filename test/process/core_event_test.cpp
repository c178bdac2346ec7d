// What a module receives from its queue when something happens in another process, byte for byte.
#include <ipcmsg.h>
#include <lom.h>
#include <moxplat/osal.h>
#include <shmem.h>

#include <memory>
#include <string>
#include <vector>

#include "core_model.hpp"
#include "wire_bytes.hpp"

namespace mox::test {
namespace {

using ReceivedEvent = ProcessTest;

constexpr gint32 kOwnPort = 0x01020304;
constexpr gint32 kMostPorts = 4;

// The message that waits in a queue; empty when there is none. The bytes behind it stay untouched.
Bytes receive_raw(gint32 queue) {
    constexpr unsigned char untouched = 0xee;
    Bytes buffer(kLargestMessage + 4, untouched);
    const gint32 got = osal_process_queue_receive(queue, buffer.data(), buffer.size(), 0);
    if (got < 0) {
        EXPECT_EQ(got, OSAL_ERR_EMPTY);
        return {};
    }
    for (gsize i = static_cast<gsize>(got); i < buffer.size(); ++i) {
        EXPECT_EQ(buffer[i], untouched) << "byte " << i << " behind the message";
    }
    buffer.resize(static_cast<gsize>(got));
    return buffer;
}

// A module with a queue: tells its id and, at the test's word, expects the messages in it and no
// more.
std::function<void(Channel&)> receiver(
    const std::function<std::vector<Bytes>(const Route&)>& expected_of) {
    return [expected_of](Channel& test) {
        gint32 queue = -1;
        ASSERT_EQ(osal_process_queue_create(&queue), OSAL_OK);
        test.tell(queue);
        test.hear<char>();
        const Route route = {kOwnPort, static_cast<std::uint32_t>(queue)};
        for (const Bytes& expected : expected_of(route)) {
            EXPECT_EQ(first_difference(expected, receive_raw(queue)), "");
        }
        EXPECT_EQ(receive_raw(queue), Bytes{}) << "one message too many";
        EXPECT_EQ(osal_process_release_all(), OSAL_OK);
    };
}

// The same for one property event.
std::function<void(Channel&)> receiver_of(const ChangedProperty& changed) {
    return receiver([changed](const Route& route) {
        return std::vector<Bytes>{property_event_bytes(route, changed)};
    });
}

// Registers a role's queue for a property, as the owner of class and port. Returns the queue.
gint32 listen_to(Role& module, const gchar* class_name, const gchar* property_name) {
    const auto queue = module.hear<gint32>();
    ipc_msg_set_port(kOwnPort);
    CLS_HANDLE handle = cls_get_class(class_name);
    if (handle == nullptr) handle = cls_create_class(class_name);
    cls_add_listener_port(handle, property_name, queue, kMostPorts);
    return queue;
}

gint32 announce(const gchar* object_name, const gchar* property_name, GVariant* floating,
                gboolean group_send) {
    GVariant* const value = g_variant_ref_sink(floating);
    const gint32 code =
        lom_property_event(lom_name_to_handle(object_name), property_name, value, group_send);
    g_variant_unref(value);
    return code;
}

TEST_F(ReceivedEvent, OfANumberHasEveryFieldInItsPlace) {
    Role module{"module", receiver_of({"Fan1", "Speed", "u", bytes_of(guint32{0xfedcba98U})})};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 0)});
    listen_to(module, "Fan", "Speed");
    EXPECT_EQ(announce("Fan1", "Speed", g_variant_new_uint32(0xfedcba98U), FALSE), MOX_OK);
    module.tell('r');
    module.finish();
}

TEST_F(ReceivedEvent, OfATextHasEveryFieldInItsPlace) {
    const std::string label(64, 'x');
    const std::string name(31, 'F');
    const std::string property(31, 'P');
    Role module{"module", receiver_of({name, property, "s", terminated(label)})};
    const PoolOwner owner;
    make_object("Fan", name, {text(property, "")});
    listen_to(module, "Fan", property.c_str());
    EXPECT_EQ(announce(name.c_str(), property.c_str(), g_variant_new_string(label.c_str()), FALSE),
              MOX_OK);
    module.tell('r');
    module.finish();
}

TEST_F(ReceivedEvent, OfTheLargestValueArrivesWhole) {
    const std::string label(kLargestPayload - kEventHeadBytes - 1, 'y');
    Role module{"module", receiver_of({"Fan1", "Label", "s", terminated(label)})};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {text("Label", "")});
    listen_to(module, "Fan", "Label");
    EXPECT_EQ(announce("Fan1", "Label", g_variant_new_string((label + "y").c_str()), FALSE),
              MOX_ERR_MESSAGE_TOO_BIG)
        << "one byte more is refused";
    EXPECT_EQ(announce("Fan1", "Label", g_variant_new_string(label.c_str()), FALSE), MOX_OK);
    module.tell('r');
    module.finish();
}

TEST_F(ReceivedEvent, ComesOnceToEveryModuleThatListens) {
    const ChangedProperty changed = {"Fan1", "Speed", "u", bytes_of(guint32{7})};
    Role first{"first module", receiver_of(changed)};
    Role second{"second module", receiver_of(changed)};
    Role other{"module that listens to another property",
               receiver([](const Route&) { return std::vector<Bytes>{}; })};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 0), text("Label", "")});
    listen_to(first, "Fan", "Speed");
    listen_to(second, "Fan", "Speed");
    listen_to(other, "Fan", "Label");
    EXPECT_EQ(announce("Fan1", "Speed", g_variant_new_uint32(7), FALSE), MOX_OK);
    for (Role* module : {&first, &second, &other}) {
        module->tell('r');
        module->finish();
    }
}

TEST_F(ReceivedEvent, ComesUnderEveryNameOfAnObjectThatIsReferredTo) {
    const Bytes value = bytes_of(guint32{7});
    Role module{"module", receiver([value](const Route& route) {
                    return std::vector<Bytes>{
                        property_event_bytes(route, {"Fan1", "Speed", "u", value}),
                        property_event_bytes(route, {"FrontCooler", "Speed", "u", value})};
                })};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 0)});
    make_object("Fan", "FrontCooler", {});
    ASSERT_EQ(lom_set_reference("FrontCooler", "Fan1"), MOX_OK);
    listen_to(module, "Fan", "Speed");
    EXPECT_EQ(announce("Fan1", "Speed", g_variant_new_uint32(7), TRUE), MOX_OK);
    module.tell('r');
    module.finish();
}

TEST_F(ReceivedEvent, TellsOfAChangeThatALiveReadFound) {
    const NumberFile file;
    Role module{"module", receiver_of({"Fan1", "Speed", "u", bytes_of(guint32{4711})})};
    const PoolOwner owner;
    file.make_accessor();
    file.put(4711);
    make_object("Fan", "Fan1", {number("Speed", 0, kAccessorName)});
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    lom_set_writable(fan, OBJECT_READ_WRITE);
    listen_to(module, "Fan", "Speed");
    EXPECT_EQ(read_live_number(fan, "Speed"), 4711U);
    EXPECT_EQ(read_live_number(fan, "Speed"), 4711U) << "unchanged, so not told of again";
    module.tell('r');
    module.finish();
}

TEST_F(ReceivedEvent, IsSentByAMemberThatFoundTheListenersInThePool) {
    Role module{"module", receiver_of({"Fan1", "Speed", "u", bytes_of(guint32{99})})};
    Role sender{"sender", [](Channel& test) {
                    auto* const classes = test.hear<gpointer>();
                    receive_object(test);
                    cls_init_share_data(classes);
                    ipc_msg_set_port(kOwnPort);
                    EXPECT_EQ(announce("Fan1", "Speed", g_variant_new_uint32(99), FALSE), MOX_OK);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 0)});
    listen_to(module, "Fan", "Speed");
    sender.tell(cls_get_share_base());
    send_object(sender, "Fan1", kMemberId, FALSE);
    sender.finish();
    module.tell('r');
    module.finish();
}

TEST_F(ReceivedEvent, OfNewObjectsHasOneGroupForEachClass) {
    Role module{"module", receiver([](const Route& route) {
                    return std::vector<Bytes>{new_objects_bytes(
                        route, 0x50607080U, {"|", "Fan", "Fan1", "Fan2", "|", "Disk", "Disk1"})};
                })};
    const PoolOwner owner;
    const gint32 queue = listen_to(module, "Fan", "Speed");
    CLS_HANDLE disk = cls_create_class("Disk");
    gchar fan1[] = "Fan1";
    gchar fan2[] = "Fan2";
    gchar disk1[] = "Disk1";
    GSList* const fans = g_slist_append(g_slist_append(nullptr, fan1), fan2);
    GSList* const disks = g_slist_append(nullptr, disk1);
    ipc_msg_newobj_init();
    ipc_msg_collect_obj(queue, cls_get_class("Fan"), fans);
    ipc_msg_collect_obj(queue, disk, disks);
    ipc_msg_newobj_event(0x50607080U);
    ipc_msg_newobj_free();
    g_slist_free(fans);
    g_slist_free(disks);
    module.tell('r');
    module.finish();
}

TEST_F(ReceivedEvent, OfRemovedObjectsHasTheirPosition) {
    Role module{"module", receiver([](const Route& route) {
                    return std::vector<Bytes>{
                        message_bytes(route, kRemovedObjects, bytes_of(guint32{0x50607080U}))};
                })};
    const PoolOwner owner;
    const gint32 queue = listen_to(module, "Fan", "Speed");
    EXPECT_EQ(ipc_msg_delobj_event(queue, 0x50607080U), MOX_OK);
    module.tell('r');
    module.finish();
}

TEST_F(ReceivedEvent, OfADumpRequestHasThePathWithoutItsLastCharacter) {
    Role module{
        "module", receiver([](const Route& route) {
            return std::vector<Bytes>{message_bytes(route, kDumpRequest, terminated("/tmp/"))};
        })};
    const PoolOwner owner;
    const gint32 queue = listen_to(module, "Fan", "Speed");
    EXPECT_EQ(ipc_msg_send_dump(queue, "/tmp/x"), MOX_OK);
    module.tell('r');
    module.finish();
}

}  // namespace
}  // namespace mox::test
