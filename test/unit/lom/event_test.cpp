// Property events: which queues get them, in which order, byte for byte; and their counts.
#include "lom/event.hpp"

#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

class PropertyEvent : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 1200), text("Label", "left")}});
        handle_ = handle_of("Fan1");
        value_ = g_variant_ref_sink(g_variant_new_uint32(1300));
    }

    void TearDown() override {
        g_variant_unref(value_);
        ValueFixture::TearDown();
    }

    gint32 send(gboolean is_group) const {
        return lom_property_event(handle_, "Speed", value_, is_group);
    }
    // The same without a word on the terminal.
    gint32 send_quietly(gboolean is_group) const {
        gint32 code = -1;
        messages_of([&] { code = send(is_group); });
        return code;
    }

    gint32 count() const { return lom_get_property_change_cnt(handle_, "Speed", TRUE); }

    OBJ_HANDLE handle_ = 0;
    GVariant* value_ = nullptr;
};

TEST_F(PropertyEvent, GoesToTheQueueThatListens) {
    listen("Fan", "Speed", 7);
    EXPECT_EQ(send(FALSE), 0);
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1300"});
}

TEST_F(PropertyEvent, GoesToEveryQueueThatListensTheNewestFirst) {
    listen("Fan", "Speed", 7);
    listen("Fan", "Speed", 8);
    listen("Fan", "Speed", 9);
    EXPECT_EQ(send(FALSE), 0);
    EXPECT_EQ(sent_events(), (Texts{"9: Fan1.Speed = uint32 1300", "8: Fan1.Speed = uint32 1300",
                                    "7: Fan1.Speed = uint32 1300"}));
}

TEST_F(PropertyEvent, DoesNotGoToListenersOfAnotherProperty) {
    listen("Fan", "Label", 7);
    EXPECT_EQ(send(FALSE), 0);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(PropertyEvent, DoesNotGoToListenersOfAnotherClass) {
    listen("Pump", "Speed", 7);
    EXPECT_EQ(send(FALSE), 0);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(PropertyEvent, IsLaidOutByteForByte) {
    listen("Fan", "Speed", 7);
    send(FALSE);
    std::vector<guint8> expected(156, 0);
    const auto put = [&](gsize at, gconstpointer bytes, gsize size) {
        std::memcpy(expected.data() + at, bytes, size);
    };
    const auto put_number = [&](gsize at, guint32 number) { put(at, &number, sizeof number); };
    put_number(0, 1);
    put(4, "MOXMSG", 6);
    put_number(12, kOwnPort);
    put_number(16, 7);
    put_number(20, 2);
    put_number(24, 1);
    put_number(28, 80);
    put(76, "Fan1", 4);
    put(76 + 32, "Speed", 5);
    put(76 + 64, "u", 1);
    put_number(76 + 72, 4);
    put_number(76 + 76, 1300);
    ASSERT_EQ(fake::osal::sent().size(), 1U);
    EXPECT_EQ(fake::osal::sent()[0].bytes, expected);
}

TEST_F(PropertyEvent, CarriesAtMostFiveCharactersOfTheType) {
    listen("Fan", "Speed", 7);
    GVariant* const map = g_variant_ref_sink(g_variant_new_parsed("@a{s(ss)} {}"));
    EXPECT_EQ(lom_property_event(handle_, "Speed", map, FALSE), 0);
    g_variant_unref(map);
    ASSERT_EQ(fake::osal::sent().size(), 1U);
    const std::vector<guint8> bytes = fake::osal::sent()[0].bytes;
    EXPECT_EQ(std::string(bytes.begin() + 140, bytes.begin() + 148), std::string("a{s(s\0\0\0", 8));
}

TEST_F(PropertyEvent, CarriesTextWithItsTerminator) {
    listen("Fan", "Label", 7);
    GVariant* const label = g_variant_ref_sink(g_variant_new_string("right"));
    EXPECT_EQ(lom_property_event(handle_, "Label", label, FALSE), 0);
    g_variant_unref(label);
    ASSERT_EQ(fake::osal::sent().size(), 1U);
    EXPECT_EQ(fake::osal::sent()[0].bytes.size(), 152U + 6U);
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Label = 'right'"});
}

TEST_F(PropertyEvent, WithoutListenersSucceedsAndIsCounted) {
    EXPECT_EQ(send(FALSE), 0);
    EXPECT_EQ(fake::osal::send_calls(), 0U);
    EXPECT_EQ(count(), 1);
}

TEST_F(PropertyEvent, IsCountedOnceForAllItsQueues) {
    listen("Fan", "Speed", 7);
    listen("Fan", "Speed", 8);
    send(FALSE);
    EXPECT_EQ(count(), 1);
}

TEST_F(PropertyEvent, IsCountedAsSentOnly) {
    send(FALSE);
    EXPECT_EQ(lom_get_property_change_cnt(handle_, "Speed", FALSE), 0);
}

TEST_F(PropertyEvent, IsCountedWhenItCannotBeSent) {
    listen("Fan", "Speed", 7);
    fake::osal::fail_sends_to(7);
    send_quietly(FALSE);
    EXPECT_EQ(count(), 1);
}

TEST_F(PropertyEvent, OfAnUnknownPropertyIsSentUncounted) {
    listen("Fan", "Colour", 7);
    EXPECT_EQ(lom_property_event(handle_, "Colour", value_, FALSE), 0);
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Colour = uint32 1300"});
}

TEST_F(PropertyEvent, OfAnUnknownObjectIsNotFound) {
    EXPECT_EQ(lom_property_event(handle_of("Fan9"), "Speed", value_, FALSE), -2009);
    EXPECT_EQ(lom_property_event(handle_of("Fan9"), "Speed", value_, TRUE), -2009);
}

TEST_F(PropertyEvent, OfANullHandleIsNotFound) {
    EXPECT_EQ(lom_property_event(0, "Speed", value_, FALSE), -2009);
}

TEST_F(PropertyEvent, WithoutANameIsRefused) {
    EXPECT_EQ(lom_property_event(handle_, nullptr, value_, FALSE), -2001);
}

TEST_F(PropertyEvent, WithoutAValueIsRefused) {
    listen("Fan", "Speed", 7);
    EXPECT_EQ(lom_property_event(handle_, "Speed", nullptr, FALSE), -2001);
    EXPECT_EQ(count(), 0);
}

TEST_F(PropertyEvent, GivesTheCodeOfASendThatFailed) {
    listen("Fan", "Speed", 7);
    fake::osal::fail_sends_to(7, -1234);
    EXPECT_EQ(send_quietly(FALSE), -1234);
}

TEST_F(PropertyEvent, LogsASendThatFailed) {
    listen("Fan", "Speed", 7);
    fake::osal::fail_sends_to(7, -1234);
    EXPECT_EQ(messages_of([this] { send(FALSE); }),
              Texts{"ERR Fan1.Speed prop event notify failed: -1234!\r\n "});
}

TEST_F(PropertyEvent, StopsAtTheFirstQueueThatFails) {
    listen("Fan", "Speed", 7);
    listen("Fan", "Speed", 8);
    listen("Fan", "Speed", 9);
    fake::osal::fail_send(2);
    send_quietly(FALSE);
    EXPECT_EQ(sent_events(), Texts{"9: Fan1.Speed = uint32 1300"});
    EXPECT_EQ(fake::osal::send_calls(), 2U);
}

TEST_F(PropertyEvent, WithoutAPortOfOnesOwnFails) {
    listen("Fan", "Speed", 7);
    ipc_msg_set_port(0);
    EXPECT_EQ(send_quietly(FALSE), -2018);
}

TEST_F(PropertyEvent, OfTheLargestValueIsSent) {
    listen("Fan", "Label", 7);
    GVariant* const label =
        g_variant_ref_sink(g_variant_new_string(std::string(8115, 'x').c_str()));
    EXPECT_EQ(lom_property_event(handle_, "Label", label, FALSE), 0);
    g_variant_unref(label);
    EXPECT_EQ(fake::osal::sent().size(), 1U);
}

TEST_F(PropertyEvent, OfALargerValueIsTooBigAndLogged) {
    listen("Fan", "Label", 7);
    GVariant* const label =
        g_variant_ref_sink(g_variant_new_string(std::string(8116, 'x').c_str()));
    gint32 code = 0;
    const Texts messages =
        messages_of([&] { code = lom_property_event(handle_, "Label", label, FALSE); });
    g_variant_unref(label);
    EXPECT_EQ(code, -2016);
    EXPECT_EQ(messages, (Texts{"ERR message size(8193) too big.\n",
                               "ERR Fan1.Label prop event notify failed: -2016!\r\n "}));
}

TEST_F(PropertyEvent, TakesNoSemaphore) {
    listen("Fan", "Speed", 7);
    send(TRUE);
    EXPECT_EQ(fake::osal::takes(), 0U);
}

TEST_F(PropertyEvent, ForAGivenNameTellsOfAListenerLookupThatFailed) {
    EXPECT_EQ(_send_property_event(nullptr, "Fan1", "Speed", value_), -2001);
    EXPECT_EQ(count(), 0);
}

TEST_F(PropertyEvent, ForAGivenNameUsesClassAndNameAsTheyAre) {
    listen("Pump", "Speed", 7);
    EXPECT_EQ(_send_property_event("Pump", "Nobody", "Speed", value_), 0);
    EXPECT_EQ(sent_events(), Texts{"7: Nobody.Speed = uint32 1300"});
    EXPECT_EQ(count(), 0);
}

// Fan1 under three names: its own, Second of class Two, Third of class Three.
class GroupEvent : public PropertyEvent {
protected:
    void SetUp() override {
        PropertyEvent::SetUp();
        add_object({.name = "Second", .class_name = "Two"});
        add_object({.name = "Third", .class_name = "Three"});
        ASSERT_EQ(lom_set_reference("Second", "Fan1"), 0);
        ASSERT_EQ(lom_set_reference("Third", "Fan1"), 0);
        listen("Fan", "Speed", 7);
        listen("Two", "Speed", 8);
        listen("Three", "Speed", 9);
    }
};

TEST_F(GroupEvent, GoesOutUnderEveryNameInOrder) {
    EXPECT_EQ(send(TRUE), 0);
    EXPECT_EQ(sent_events(), (Texts{"7: Fan1.Speed = uint32 1300", "8: Second.Speed = uint32 1300",
                                    "9: Third.Speed = uint32 1300"}));
}

TEST_F(GroupEvent, GoesOutUnderTheObjectsOwnNameAloneWhenNotAsked) {
    EXPECT_EQ(send(FALSE), 0);
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1300"});
}

TEST_F(GroupEvent, GoesOutUnderAReferencesOwnNameWhenSentForIt) {
    EXPECT_EQ(lom_property_event(handle_of("Second"), "Speed", value_, FALSE), 0);
    EXPECT_EQ(sent_events(), Texts{"8: Second.Speed = uint32 1300"});
}

TEST_F(GroupEvent, SendsNothingForTheThirdNameWhenTheSecondFails) {
    fake::osal::fail_sends_to(8, -1234);
    EXPECT_EQ(send_quietly(TRUE), -1234);
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1300"});
    EXPECT_EQ(fake::osal::send_calls(), 2U);
}

TEST_F(GroupEvent, IsLostForTheNameThatFailedAndThoseBehindIt) {
    static std::vector<gint32> lost;
    lost.clear();
    listen("Three", "Speed", 10);
    ipc_msg_set_lost_func([](gint32 port, guint32 type, gint32 result) {
        EXPECT_EQ(type, guint32{MOX_MSG_PROPERTY_EVENT});
        EXPECT_EQ(result, -1234);
        lost.push_back(port);
    });
    fake::osal::fail_sends_to(8, -1234);
    EXPECT_EQ(send_quietly(TRUE), -1234);
    ipc_msg_set_lost_func(nullptr);
    EXPECT_EQ(lost, (std::vector<gint32>{8, 10, 9}));
}

TEST_F(GroupEvent, LogsTheNameThatFailed) {
    fake::osal::fail_sends_to(8, -1234);
    EXPECT_EQ(messages_of([this] { send(TRUE); }),
              Texts{"ERR Second.Speed prop event notify failed: -1234!\r\n "});
}

TEST_F(GroupEvent, IsCountedForEveryName) {
    send(TRUE);
    EXPECT_EQ(count(), 3);
}

TEST_F(GroupEvent, IsCountedUpToTheNameThatFailed) {
    fake::osal::fail_sends_to(8);
    send_quietly(TRUE);
    EXPECT_EQ(count(), 2);
}

TEST_F(GroupEvent, SucceedsWithoutListeners) {
    EXPECT_EQ(lom_property_event(handle_, "Label", value_, TRUE), 0);
    EXPECT_EQ(fake::osal::send_calls(), 0U);
}

TEST_F(GroupEvent, WithoutANameListIsAnInternalFailure) {
    OBJECT_HEAD_S* const record = record_of("Fan1");
    CLASS_OBJECT_LIST_S* const names = std::exchange(record->name_list, nullptr);
    EXPECT_EQ(send(TRUE), -2000);
    EXPECT_EQ(fake::osal::send_calls(), 0U);
    record->name_list = names;
}

TEST_F(GroupEvent, WithoutANameListCanStillBeSentForTheObjectAlone) {
    OBJECT_HEAD_S* const record = record_of("Fan1");
    CLASS_OBJECT_LIST_S* const names = std::exchange(record->name_list, nullptr);
    EXPECT_EQ(send(FALSE), 0);
    EXPECT_EQ(fake::osal::send_calls(), 1U);
    record->name_list = names;
}

}  // namespace
}  // namespace mox::test
