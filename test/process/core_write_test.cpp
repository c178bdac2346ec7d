// Writes in one process as the others meet them: the value, its event, an override's refusal, and a
// value that only the owner can make room for.
#include <classnode.h>
#include <ipcmsg.h>
#include <lom.h>
#include <moxplat/osal.h>

#include <cstring>
#include <string>
#include <vector>

#include "core_model.hpp"
#include "wire_bytes.hpp"

namespace mox::test {
namespace {

using SharedWrite = ProcessTest;

constexpr gint32 kOwnPort = 0x01020304;
constexpr gint32 kMostPorts = 4;

gint32 write(OBJ_HANDLE object, const char* property_name, GVariant* floating) {
    GVariant* const value = g_variant_ref_sink(floating);
    const gint32 code =
        lom_set_property_value(object, property_name, value, PER_MODE_NOSUPPORT, FALSE);
    g_variant_unref(value);
    return code;
}

gint32 override_with(OBJ_HANDLE object, const char* property_name, GVariant* floating) {
    GVariant* const value = g_variant_ref_sink(floating);
    const gint32 code =
        lom_override_property_value(object, property_name, value, PROPERTY_OVERRIDE, nullptr);
    g_variant_unref(value);
    return code;
}

gint32 cancel_override(OBJ_HANDLE object, const char* property_name) {
    return lom_override_property_value(object, property_name, nullptr, PROPERTY_CANCEL_OVERRIDE,
                                       nullptr);
}

// The message that waits in a queue; empty when there is none.
Bytes receive_raw(gint32 queue) {
    Bytes buffer(kLargestMessage, 0);
    const gint32 got = osal_process_queue_receive(queue, buffer.data(), buffer.size(), 0);
    if (got < 0) {
        EXPECT_EQ(got, OSAL_ERR_EMPTY);
        return {};
    }
    buffer.resize(static_cast<gsize>(got));
    return buffer;
}

// A process that is told the queue's events are there and expects these and no more.
std::function<void(Channel&)> listener(const std::vector<ChangedProperty>& expected) {
    return [expected](Channel& test) {
        gint32 queue = -1;
        ASSERT_EQ(osal_process_queue_create(&queue), OSAL_OK);
        test.tell(queue);
        test.hear<char>();
        const Route route = {kOwnPort, static_cast<std::uint32_t>(queue)};
        for (const ChangedProperty& changed : expected) {
            EXPECT_EQ(first_difference(property_event_bytes(route, changed), receive_raw(queue)),
                      "");
        }
        EXPECT_EQ(receive_raw(queue), Bytes{}) << "one message too many";
        EXPECT_EQ(osal_process_release_all(), OSAL_OK);
    };
}

// Has a listener's queue receive the events of a property.
void listen_to(Role& module, const char* property_name) {
    const auto queue = module.hear<gint32>();
    ipc_msg_set_port(kOwnPort);
    CLS_HANDLE handle = cls_get_class("Fan");
    if (handle == nullptr) handle = cls_create_class("Fan");
    cls_add_listener_port(handle, property_name, queue, kMostPorts);
}

// In a role: the object's writable copy, with the listeners in the pool and a port of its own.
OBJ_HANDLE receive_writable(Channel& test) {
    auto* const classes = test.hear<gpointer>();
    const OBJ_HANDLE object = receive_object(test);
    EXPECT_TRUE(lom_is_writable(object));
    cls_init_share_data(classes);
    ipc_msg_set_port(kOwnPort);
    return object;
}

void send_writable(Role& role, const std::string& object_name) {
    role.tell(cls_get_share_base());
    send_object(role, object_name, kMemberId, TRUE);
}

TEST_F(SharedWrite, ByAMemberIsReadByTheOwner) {
    Role member{"member", [](Channel& test) {
                    const OBJ_HANDLE fan = receive_object(test);
                    EXPECT_EQ(write(fan, "Speed", g_variant_new_uint32(4711)), MOX_OK);
                    EXPECT_EQ(write(fan, "Label", g_variant_new_string("west")), MOX_OK);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200), text("Label", "left")});
    send_object(member, "Fan1", kMemberId, TRUE);
    member.finish();
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    EXPECT_EQ(read_number(fan, "Speed"), 4711U);
    EXPECT_EQ(read_text(fan, "Label"), "west");
}

TEST_F(SharedWrite, ByTheOwnerIsReadByAMember) {
    Role member{"member", [](Channel& test) {
                    const OBJ_HANDLE fan = receive_object(test);
                    test.tell('r');
                    test.hear<char>();
                    EXPECT_EQ(read_number(fan, "Speed"), 4711U);
                    EXPECT_EQ(write(fan, "Speed", g_variant_new_uint32(1)), MOX_ERR_NOT_PERMITTED)
                        << "its copy is a read-only one";
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    lom_set_writable(fan, OBJECT_READ_WRITE);
    send_object(member, "Fan1", kMemberId, FALSE);
    member.hear<char>();
    EXPECT_EQ(write(fan, "Speed", g_variant_new_uint32(4711)), MOX_OK);
    member.tell('w');
    member.finish();
    EXPECT_EQ(read_number(fan, "Speed"), 4711U);
}

TEST_F(SharedWrite, IsAnnouncedOnceToAThirdProcess) {
    Role module{"listener", listener({{"Fan1", "Speed", "u", bytes_of(guint32{4711})}})};
    Role member{"member", [](Channel& test) {
                    const OBJ_HANDLE fan = receive_writable(test);
                    EXPECT_EQ(write(fan, "Speed", g_variant_new_uint32(4711)), MOX_OK);
                    EXPECT_EQ(write(fan, "Speed", g_variant_new_uint32(4711)), MOX_OK)
                        << "unchanged, so not told of again";
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    listen_to(module, "Speed");
    send_writable(member, "Fan1");
    member.finish();
    module.tell('r');
    module.finish();
}

TEST_F(SharedWrite, IsRefusedWhileAnotherProcessOverridesTheProperty) {
    Role module{"listener", listener({{"Fan1", "Speed", "u", bytes_of(guint32{9})},
                                      {"Fan1", "Speed", "u", bytes_of(guint32{10})}})};
    Role member{"member", [](Channel& test) {
                    const OBJ_HANDLE fan = receive_writable(test);
                    EXPECT_EQ(override_with(fan, "Speed", g_variant_new_uint32(9)), MOX_OK);
                    test.tell('o');
                    test.hear<char>();
                    EXPECT_EQ(cancel_override(fan, "Speed"), MOX_OK);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    lom_set_writable(fan, OBJECT_READ_WRITE);
    listen_to(module, "Speed");
    send_writable(member, "Fan1");
    member.hear<char>();
    EXPECT_EQ(write(fan, "Speed", g_variant_new_uint32(10)), MOX_ERR_OVERRIDDEN);
    EXPECT_EQ(read_live_number(fan, "Speed"), 9U);
    member.tell('c');
    member.finish();
    EXPECT_EQ(write(fan, "Speed", g_variant_new_uint32(10)), MOX_OK);
    EXPECT_EQ(read_number(fan, "Speed"), 10U);
    module.tell('r');
    module.finish();
}

// What a member asks its owner for: a value that outgrew its room.
struct LargeValue {
    gchar object_name[PUB_NAME_LENGTH];
    gchar property_name[PUB_NAME_LENGTH];
    gchar text[4096];
};

Channel* owner_channel = nullptr;

// The hook of a member that reaches its owner through its channel.
gint32 set_at_owner(const gchar* object_name, const gchar* property_name, GVariant* value) {
    LargeValue request = {};
    g_strlcpy(request.object_name, object_name, sizeof(request.object_name));
    g_strlcpy(request.property_name, property_name, sizeof(request.property_name));
    g_strlcpy(request.text, g_variant_get_string(value, nullptr), sizeof(request.text));
    owner_channel->tell(request);
    return owner_channel->hear<gint32>();
}

// The owner's side of one such request.
void serve_large_value(Role& member) {
    const auto request = member.hear<LargeValue>();
    member.tell(lom_realloc_property(request.object_name, request.property_name, "s",
                                     static_cast<guint32>(std::strlen(request.text) + 1),
                                     request.text));
}

TEST_F(SharedWrite, BeyondTheRoomIsStoredByTheOwnerAndReadByBoth) {
    const std::string label(3000, 'L');
    Role module{"listener", listener({{"Fan1", "Label", "s", terminated(label)},
                                      {"Fan1", "Label", "s", terminated("short")}})};
    Role member{"member", [&label](Channel& test) {
                    const OBJ_HANDLE fan = receive_writable(test);
                    owner_channel = &test;
                    lom_set_modify_func(set_at_owner);
                    EXPECT_EQ(write(fan, "Label", g_variant_new_string(label.c_str())), MOX_OK);
                    EXPECT_EQ(read_text(fan, "Label"), label);
                    EXPECT_EQ(write(fan, "Label", g_variant_new_string("short")), MOX_OK)
                        << "there is room for it now";
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {text("Label", "left")});
    listen_to(module, "Label");
    send_writable(member, "Fan1");
    serve_large_value(member);
    member.finish();
    EXPECT_EQ(read_text(lom_get_object_handle("Fan1"), "Label"), "short");
    module.tell('r');
    module.finish();
}

}  // namespace
}  // namespace mox::test
