// Values that one process stores and another one reads.
#include <lom.h>

#include <cstring>
#include <string>

#include "core_model.hpp"

namespace mox::test {
namespace {

using SharedValue = ProcessTest;

// What a module asks its owner for: the record of an object; an empty name ends the service.
struct Request {
    gchar object_name[PUB_NAME_LENGTH];
};
struct Answer {
    gboolean is_known;
    OBJECT_HEAD_S record;
};

Channel* owner_channel = nullptr;

// The copy hook of a module that reaches its owner through its channel.
OBJECT_HEAD_S* fetch_record(const gchar* object_name, gsize size) {
    Request request = {};
    g_strlcpy(request.object_name, object_name, sizeof(request.object_name));
    owner_channel->tell(request);
    const auto answer = owner_channel->hear<Answer>();
    return answer.is_known && size == sizeof(answer.record)
               ? static_cast<OBJECT_HEAD_S*>(g_memdup2(&answer.record, size))
               : nullptr;
}

void install_copy_hook(Channel& test) {
    owner_channel = &test;
    lom_set_copy_func(fetch_record);
}

// The owner's side of fetch_record; returns how many records it gave out.
int serve_copies(Role& role, gint32 module_id, gboolean writable) {
    for (int served = 0;;) {
        const auto request = role.hear<Request>();
        if (request.object_name[0] == '\0') return served;
        guint32 size = 0;
        gpointer copy = nullptr;
        Answer answer = {};
        if (lom_copy_object(request.object_name, &size, &copy, module_id, writable) == MOX_OK) {
            answer.is_known = TRUE;
            std::memcpy(&answer.record, copy, sizeof(answer.record));
            g_free(copy);
            ++served;
        }
        role.tell(answer);
    }
}

TEST_F(SharedValue, WrittenByTheOwnerIsReadByAMember) {
    Role member{"member", [](Channel& test) {
                    const OBJ_HANDLE fan = receive_object(test);
                    EXPECT_EQ(read_number(fan, "Speed"), 1200U);
                    test.tell('r');
                    test.hear<char>();
                    EXPECT_EQ(read_number(fan, "Speed"), 0xfffffffeU);
                    EXPECT_EQ(read_text(fan, "Label"), "right");
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200), text("Label", "left of the door")});
    send_object(member, "Fan1", kMemberId, FALSE);
    member.hear<char>();
    write_number("Fan1", "Speed", 0xfffffffeU);
    write_text("Fan1", "Label", "right");
    member.tell('w');
    member.finish();
}

TEST_F(SharedValue, ThatOutgrewItsBlockIsReadByAMember) {
    Role member{"member", [](Channel& test) {
                    const OBJ_HANDLE fan = receive_object(test);
                    EXPECT_EQ(read_text(fan, "Label"), "short");
                    test.tell('r');
                    test.hear<char>();
                    EXPECT_EQ(read_text(fan, "Label"), std::string(5000, 'L'));
                    test.tell('r');
                    test.hear<char>();
                    EXPECT_EQ(read_text(fan, "Label"), "x");
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {text("Label", "short")});
    send_object(member, "Fan1", kMemberId, FALSE);
    member.hear<char>();
    write_text("Fan1", "Label", std::string(5000, 'L'));
    member.tell('w');
    member.hear<char>();
    write_text("Fan1", "Label", "x");
    member.tell('w');
    member.finish();
}

TEST_F(SharedValue, IsReachedThroughARecordThatIsFetchedOnFirstUse) {
    Role member{"member", [](Channel& test) {
                    test.hear<char>();
                    attach_pool();
                    install_copy_hook(test);
                    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
                    EXPECT_NE(fan, 0);
                    EXPECT_EQ(lom_get_object_handle("Fan1"), fan);
                    EXPECT_EQ(lom_get_object_handle("NoSuchFan"), 0);
                    EXPECT_EQ(read_number(fan, "Speed"), 1200U);
                    EXPECT_FALSE(lom_is_writable(fan));
                    test.tell(Request{});
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    member.tell('p');
    EXPECT_EQ(serve_copies(member, kMemberId, FALSE), 1) << "a known record is not fetched again";
    member.finish();
}

TEST_F(SharedValue, ReadLiveByTheOwnerIsFoundInMemoryByAMember) {
    const NumberFile file;
    Role member{"member", [](Channel& test) {
                    const OBJ_HANDLE fan = receive_object(test);
                    EXPECT_EQ(read_number(fan, "Speed"), 0U);
                    test.tell('r');
                    test.hear<char>();
                    EXPECT_EQ(read_number(fan, "Speed"), 4711U);
                    EXPECT_EQ(read_live_number(fan, "Speed"), 4711U)
                        << "a read-only view does not ask the hardware";
                    test.tell('r');
                    test.hear<char>();
                    EXPECT_EQ(read_number(fan, "Speed"), 4712U);
                }};
    const PoolOwner owner;
    file.make_accessor();
    make_object("Fan", "Fan1", {number("Speed", 0, kAccessorName)});
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    lom_set_writable(fan, OBJECT_READ_WRITE);
    send_object(member, "Fan1", kMemberId, FALSE);
    member.hear<char>();
    file.put(4711);
    EXPECT_EQ(read_live_number(fan, "Speed"), 4711U);
    member.tell('w');
    member.hear<char>();
    file.put(4712);
    lom_property_batch_read();
    member.tell('w');
    member.finish();
}

TEST_F(SharedValue, ReadLiveThroughAMembersWritableCopyIsFoundInMemoryByTheOwner) {
    const NumberFile file;
    Role member{"member", [](Channel& test) {
                    test.hear<char>();
                    attach_pool();
                    install_copy_hook(test);
                    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
                    EXPECT_TRUE(lom_is_writable(fan));
                    EXPECT_EQ(read_live_number(fan, "Speed"), 815U);
                    test.tell(Request{});
                }};
    const PoolOwner owner;
    file.make_accessor();
    file.put(815);
    make_object("Fan", "Fan1", {number("Speed", 0, kAccessorName)});
    member.tell('p');
    EXPECT_EQ(serve_copies(member, kMemberId, TRUE), 3) << "the object, its accessor, its chip";
    member.finish();
    EXPECT_EQ(read_number(lom_get_object_handle("Fan1"), "Speed"), 815U);
}

}  // namespace
}  // namespace mox::test
