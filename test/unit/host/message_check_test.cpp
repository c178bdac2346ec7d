// Which received bytes are taken for a message.
#include "module/message_check.hpp"

#include <gtest/gtest.h>
#include <ipcmsg.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace {

// A message with a payload; the header's length is the payload's unless one is given.
std::string message_of(guint32 type, const std::string& payload) {
    MOX_MSG_HEAD_S head = {};
    head.mtype = 1;
    std::memcpy(head.msg_head, IPC_MSG_MAGIC, sizeof IPC_MSG_MAGIC);
    head.msg_type = type;
    head.msg_ver = 1;
    head.length = static_cast<guint32>(payload.size());
    return std::string(reinterpret_cast<const char*>(&head), sizeof head) + payload;
}

std::string event_of(const std::string& object, const std::string& property,
                     const std::string& type, const std::string& value) {
    MSG_EVENT_DATA_HEAD_S head = {};
    object.copy(head.object_name, sizeof head.object_name);
    property.copy(head.property_name, sizeof head.property_name);
    type.copy(head.type, sizeof head.type);
    head.size = static_cast<guint32>(value.size());
    return std::string(reinterpret_cast<const char*>(&head), sizeof head) + value;
}

std::string with_number(std::string bytes, std::size_t offset, guint32 number) {
    std::memcpy(bytes.data() + offset, &number, sizeof number);
    return bytes;
}

std::string fault(const std::string& bytes) {
    const char* const text = mox::host::message_fault(bytes.data(), bytes.size());
    return text == nullptr ? "" : text;
}

const std::string change =
    message_of(MOX_MSG_PROPERTY_EVENT, event_of("Fan1", "Speed", "y", "\x05"));

TEST(ReceivedMessage, OfAChangeIsTaken) {
    EXPECT_EQ(fault(change), "");
}

TEST(ReceivedMessage, ThatEndsInItsHeaderIsRefused) {
    EXPECT_EQ(fault(change.substr(0, sizeof(MOX_MSG_HEAD_S) - 1)), "shorter than a header");
}

TEST(ReceivedMessage, LongerThanTheLongestIsRefused) {
    EXPECT_EQ(fault(message_of(MOX_MSG_RECV_IPMI_REQUEST, std::string(8192, 'x'))), "");
    EXPECT_EQ(fault(message_of(MOX_MSG_RECV_IPMI_REQUEST, std::string(8193, 'x'))),
              "longer than a message");
}

TEST(ReceivedMessage, WhoseLengthIsNotThatOfItsPayloadIsRefused) {
    for (const guint32 length : {0U, 76U, 78U, 8192U, G_MAXUINT32}) {
        EXPECT_EQ(fault(with_number(change, offsetof(MOX_MSG_HEAD_S, length), length)),
                  "a length that does not match");
    }
}

TEST(ReceivedMessage, OfAChangeWhoseValueIsLongerThanTheMessageIsRefused) {
    for (const guint32 size : {0U, 2U, 8192U, G_MAXUINT32}) {
        EXPECT_EQ(
            fault(with_number(
                change, sizeof(MOX_MSG_HEAD_S) + offsetof(MSG_EVENT_DATA_HEAD_S, size), size)),
            "a property event whose value size does not match");
    }
}

TEST(ReceivedMessage, OfAChangeWithANameOrTypeWithoutTerminatorIsRefused) {
    for (const std::string& payload : {event_of(std::string(32, 'F'), "Speed", "y", "\x05"),
                                       event_of("Fan1", std::string(32, 'S'), "y", "\x05"),
                                       event_of("Fan1", "Speed", "aaaaay", "")}) {
        EXPECT_EQ(fault(message_of(MOX_MSG_PROPERTY_EVENT, payload)),
                  "a property event with an endless name");
    }
}

TEST(ReceivedMessage, OfAChangeWithATypeThatNoValueHasIsRefused) {
    for (const char* const type : {"", "a", "a*", "uu", "("}) {
        EXPECT_EQ(fault(message_of(MOX_MSG_PROPERTY_EVENT, event_of("Fan1", "Speed", type, "x"))),
                  "a property event with an unknown type");
    }
}

TEST(ReceivedMessage, OfNewObjectsWhoseSizeIsNotThatOfItsNamesIsRefused) {
    const std::string names("\2\0\0\0\7\0\0\0a\0", 10);
    EXPECT_EQ(fault(message_of(MOX_MSG_ADD_OBJECT, names)), "");
    for (const guint32 size : {0U, 3U, G_MAXUINT32}) {
        EXPECT_EQ(fault(message_of(MOX_MSG_ADD_OBJECT, with_number(names, 0, size))),
                  "a new-object event whose size does not match");
    }
    EXPECT_EQ(fault(message_of(MOX_MSG_ADD_OBJECT, names.substr(0, 7))),
              "a new-object event shorter than its head");
}

TEST(ReceivedMessage, OfARemovalOfAnyOtherSizeIsRefused) {
    EXPECT_EQ(fault(message_of(MOX_MSG_DEL_OBJECT, "1234")), "");
    EXPECT_EQ(fault(message_of(MOX_MSG_DEL_OBJECT, "123")), "a deletion event of a wrong size");
    EXPECT_EQ(fault(message_of(MOX_MSG_DEL_OBJECT, "12345")), "a deletion event of a wrong size");
}

TEST(ReceivedMessage, ThatAsksForADumpWithoutATerminatedPathIsRefused) {
    EXPECT_EQ(fault(message_of(MOX_MSG_DUMP, std::string("/tmp\0", 5))), "");
    for (const char* const path : {"", "/tmp"}) {
        EXPECT_EQ(fault(message_of(MOX_MSG_DUMP, path)), "a dump request with an endless path");
    }
}

TEST(ReceivedMessage, OfAnotherMagicVersionOrTypeIsRefused) {
    EXPECT_EQ(fault(with_number(change, offsetof(MOX_MSG_HEAD_S, msg_head), 0)), "a wrong magic");
    EXPECT_EQ(fault(with_number(change, offsetof(MOX_MSG_HEAD_S, msg_ver), 2)),
              "an unknown version");
    EXPECT_EQ(fault(message_of(MOX_MSG_END, "")), "an unknown message type");
}

}  // namespace
