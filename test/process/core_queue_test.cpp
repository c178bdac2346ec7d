// A module that does not read its queue: the processes that send to it are told so and go on.
#include <ipcmsg.h>
#include <lom.h>
#include <moxplat/osal.h>

#include <array>
#include <string>

#include "core_model.hpp"
#include "wire_bytes.hpp"

namespace mox::test {
namespace {

using FullQueue = ProcessTest;

constexpr gint32 kOwnPort = 7;
// More events than any queue has room for.
constexpr int kMostEvents = 100000;

int count_and_discard(gint32 queue) {
    std::array<char, kLargestMessage> buffer = {};
    int count = 0;
    gint32 got = osal_process_queue_receive(queue, buffer.data(), buffer.size(), 0);
    for (; got >= 0; got = osal_process_queue_receive(queue, buffer.data(), buffer.size(), 0)) {
        ++count;
    }
    EXPECT_EQ(got, OSAL_ERR_EMPTY);
    return count;
}

// A module with a queue that it looks into only at the test's word, telling what it found.
void look_when_told(Channel& test) {
    gint32 queue = -1;
    ASSERT_EQ(osal_process_queue_create(&queue), OSAL_OK);
    test.tell(queue);
    while (test.hear<char>() == 'l') test.tell(count_and_discard(queue));
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
}

void add_listener(gint32 queue) {
    ipc_msg_set_port(kOwnPort);
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_add_listener_port(fan, "Speed", queue, 1);
}

gint32 announce_speed(guint32 speed) {
    GVariant* const value = g_variant_ref_sink(g_variant_new_uint32(speed));
    const gint32 code = lom_property_event(lom_name_to_handle("Fan1"), "Speed", value, FALSE);
    g_variant_unref(value);
    return code;
}

// Sends until the queue takes no more; returns how many events it took.
int fill_with_events() {
    for (int sent = 0; sent < kMostEvents; ++sent) {
        const gint32 code = announce_speed(static_cast<guint32>(sent));
        if (code != MOX_OK) {
            EXPECT_EQ(code, OSAL_ERR_FULL);
            return sent;
        }
    }
    ADD_FAILURE() << "the queue never became full";
    return kMostEvents;
}

TEST_F(FullQueue, IsAnErrorForTheSenderAndLosesNothingThatWasSent) {
    Role module{"module", look_when_told};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 0)});
    add_listener(module.hear<gint32>());
    const int sent = fill_with_events();
    EXPECT_EQ(announce_speed(1), OSAL_ERR_FULL) << "again, until somebody reads";
    module.tell('l');
    EXPECT_EQ(module.hear<int>(), sent);
    EXPECT_EQ(announce_speed(2), MOX_OK) << "and then it works as before";
    module.tell('l');
    EXPECT_EQ(module.hear<int>(), 1);
    module.tell('e');
    module.finish();
}

TEST_F(FullQueue, DoesNotKeepTheOwnerFromWritingNorAMemberFromReading) {
    Role module{"module", look_when_told};
    Role member{"member", [](Channel& test) {
                    EXPECT_EQ(read_number(receive_object(test), "Speed"), 1234U);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 0)});
    add_listener(module.hear<gint32>());
    fill_with_events();
    write_number("Fan1", "Speed", 1234);
    send_object(member, "Fan1", kMemberId, FALSE);
    member.finish();
    module.tell('e');
    module.finish();
}

TEST_F(FullQueue, DoesNotKeepALiveReadFromStoringWhatItFound) {
    const NumberFile file;
    Role module{"module", look_when_told};
    const PoolOwner owner;
    file.make_accessor();
    file.put(4711);
    make_object("Fan", "Fan1", {number("Speed", 0, kAccessorName)});
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    lom_set_writable(fan, OBJECT_READ_WRITE);
    add_listener(module.hear<gint32>());
    fill_with_events();
    EXPECT_EQ(read_live_number(fan, "Speed"), 4711U);
    EXPECT_EQ(read_number(fan, "Speed"), 4711U);
    module.tell('e');
    module.finish();
}

TEST_F(FullQueue, OrOneThatIsGoneIsAnErrorForTheSender) {
    Role module{"module", look_when_told};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 0)});
    add_listener(module.hear<gint32>());
    module.tell('e');
    module.finish();
    EXPECT_EQ(announce_speed(1), OSAL_ERR_BAD_ID);
    write_number("Fan1", "Speed", 1234);
    EXPECT_EQ(read_number(lom_get_object_handle("Fan1"), "Speed"), 1234U);
}

}  // namespace
}  // namespace mox::test
