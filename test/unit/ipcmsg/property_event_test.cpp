// An object's property event: who is told, what is counted, and what a failing port leaves undone.
#include <classnode.h>
#include <gtest/gtest.h>
#include <ipcmsg.h>
#include <lom/event.h>
#include <lom/object.h>
#include <lom/registry.h>
#include <moxlib/moxbase.h>
#include <shmem.h>

#include <string>
#include <thread>
#include <vector>

#include "captured_output.hpp"
#include "lom/event.hpp"
#include "pool_fixture.hpp"
#include "sent_message.hpp"

namespace {

namespace osal = mox::fake::osal;
using mox::test::CapturedSyslog;
using mox::test::sent_bytes;
using mox::test::stdout_of;
using mox::test::text_at;
using mox::test::word_at;

// The object "Fan1" of class "Fan" with an int32 property "Speed"; nobody listens yet.
class PropertyEvent : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        ipc_msg_set_port(77);
        fan = cls_create_class("Fan");
        record = static_cast<OBJECT_HEAD_S*>(
            lom_create_object_embryo(1, "Fan1", "Fan", "", "Logical", 0));
        ASSERT_NE(record, nullptr);
        const gint32 number = 1;
        CONST_TLV_S tlv = {"i", sizeof(number), &number};
        lom_init_property(record, 0, "Speed", &tlv, "rw");
        handle = lom_add_object(record);
        lom_ready_object(record);
    }

    gint32 announce(gboolean group_send = FALSE, GVariant* value = g_variant_new_int32(-2)) const {
        GVariant* sunk = g_variant_ref_sink(value);
        const gint32 result = lom_property_event(handle, "Speed", sunk, group_send);
        g_variant_unref(sunk);
        return result;
    }
    const LOCAL_PROPERTY_S& local() const {
        return *static_cast<LOCAL_PROPERTY_S*>(g_hash_table_lookup(record->property_hash, "Speed"));
    }
    // Adds a further name under which the object's events are sent.
    void add_name(const gchar* class_name, const gchar* object_name) const {
        auto* node = static_cast<CLASS_OBJECT_LIST_S*>(shm_alloc0(sizeof(CLASS_OBJECT_LIST_S)));
        node->class_name = shm_strdup(class_name, 32);
        node->object_name = shm_strdup(object_name, 32);
        CLASS_OBJECT_LIST_S* last = record->name_list;
        while (last->next != nullptr) last = last->next;
        last->next = node;
    }
    static std::string error_line(const std::string& text) {
        return std::string("[ ") + mox::test::DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m " +
               text;
    }

    CLS_HANDLE fan = nullptr;
    OBJECT_HEAD_S* record = nullptr;
    OBJ_HANDLE handle = 0;
};

TEST_F(PropertyEvent, ReachesEveryListenerOfClassAndProperty) {
    for (const gint32 port : {5, 6}) cls_add_listener_port(fan, "Speed", port, 4);
    cls_add_listener_port(fan, "Noise", 9, 4);
    ASSERT_EQ(announce(), 0);
    ASSERT_EQ(osal::sent().size(), 2U);
    EXPECT_EQ(osal::sent()[0].queue_id, 6);
    EXPECT_EQ(osal::sent()[1].queue_id, 5);
}

TEST_F(PropertyEvent, CarriesObjectPropertyTypeAndValue) {
    cls_add_listener_port(fan, "Speed", 5, 4);
    ASSERT_EQ(announce(), 0);
    const std::vector<guint8> bytes = sent_bytes(0);
    EXPECT_EQ(word_at(bytes, 20), 2U);
    EXPECT_EQ(text_at(bytes, 76, 32), "Fan1");
    EXPECT_EQ(text_at(bytes, 108, 32), "Speed");
    EXPECT_EQ(text_at(bytes, 140, 6), "i");
    EXPECT_EQ(word_at(bytes, 148), 4U);
    EXPECT_EQ(word_at(bytes, 152), 0xFFFFFFFEU);
}

TEST_F(PropertyEvent, CarriesTheTypeOfTheValueCutToFiveCharacters) {
    cls_add_listener_port(fan, "Speed", 5, 4);
    ASSERT_EQ(announce(FALSE, g_variant_new_parsed("@a{s(ii)} {}")), 0);
    EXPECT_EQ(text_at(sent_bytes(0), 140, 6), "a{s(i");
}

TEST_F(PropertyEvent, WithoutAListenerIsCountedAndSucceeds) {
    EXPECT_EQ(announce(), 0);
    EXPECT_EQ(local().change_cnt, 1U);
    EXPECT_EQ(local().receive_cnt, 0U);
    EXPECT_EQ(osal::send_calls(), 0U);
}

TEST_F(PropertyEvent, IsCountedOnceHoweverManyListen) {
    for (const gint32 port : {5, 6, 7}) cls_add_listener_port(fan, "Speed", port, 4);
    ASSERT_EQ(announce(), 0);
    EXPECT_EQ(local().change_cnt, 1U);
}

TEST_F(PropertyEvent, ThatCannotBeSentIsCountedLoggedAndReturned) {
    for (const gint32 port : {5, 6}) cls_add_listener_port(fan, "Speed", port, 4);
    osal::fail_sends_to(6, -4711);
    CapturedSyslog log;
    gint32 result = 0;
    stdout_of([&] { result = announce(); });
    EXPECT_EQ(result, -4711);
    EXPECT_EQ(log.text(), error_line("Fan1.Speed prop event notify failed: -4711!\r\n "));
    EXPECT_EQ(osal::sent_to(5).size(), 0U);
    EXPECT_EQ(local().change_cnt, 1U);
}

TEST_F(PropertyEvent, OfAValueOfMoreThan8116BytesIsTooBig) {
    cls_add_listener_port(fan, "Speed", 5, 4);
    CapturedSyslog log;
    gint32 result = 0;
    stdout_of(
        [&] { result = announce(FALSE, g_variant_new_string(std::string(8116, 'v').c_str())); });
    EXPECT_EQ(result, -2016);
    EXPECT_EQ(log.text(), error_line("message size(8193) too big.\n") +
                              error_line("Fan1.Speed prop event notify failed: -2016!\r\n "));
}

TEST_F(PropertyEvent, OfAnUnknownObjectIsNotFound) {
    GVariant* value = g_variant_ref_sink(g_variant_new_int32(1));
    EXPECT_EQ(lom_property_event(0, "Speed", value, FALSE), -2009);
    EXPECT_EQ(lom_property_event(lom_name_to_handle("NoSuchObject"), "Speed", value, FALSE), -2009);
    g_variant_unref(value);
}

TEST_F(PropertyEvent, WithoutAPropertyOrAValueIsRefused) {
    cls_add_listener_port(fan, "Speed", 5, 4);
    GVariant* value = g_variant_ref_sink(g_variant_new_int32(1));
    EXPECT_EQ(lom_property_event(handle, nullptr, value, FALSE), -2001);
    EXPECT_EQ(lom_property_event(handle, "Speed", nullptr, FALSE), -2001);
    EXPECT_EQ(osal::send_calls(), 0U);
    EXPECT_EQ(record->ref_count, 1);
    g_variant_unref(value);
}

TEST_F(PropertyEvent, OfAnUnknownPropertyReachesWhoListensToItsName) {
    cls_add_listener_port(fan, "Noise", 5, 4);
    GVariant* value = g_variant_ref_sink(g_variant_new_int32(1));
    EXPECT_EQ(lom_property_event(handle, "Noise", value, FALSE), 0);
    EXPECT_EQ(osal::sent_to(5).size(), 1U);
    g_variant_unref(value);
}

TEST_F(PropertyEvent, DropsItsReferenceOnEveryPath) {
    EXPECT_EQ(announce(), 0);
    EXPECT_EQ(announce(TRUE), 0);
    cls_add_listener_port(fan, "Speed", 5, 4);
    EXPECT_EQ(announce(), 0);
    osal::fail_sends_to(5);
    stdout_of([this] {
        announce();
        announce(TRUE);
    });
    EXPECT_EQ(record->ref_count, 1);
}

TEST_F(PropertyEvent, IsSentWithoutASemaphore) {
    cls_add_listener_port(fan, "Speed", 5, 4);
    ASSERT_EQ(announce(), 0);
    ASSERT_EQ(osal::sent().size(), 1U);
    EXPECT_EQ(osal::sent()[0].semaphores_held, 0U);
    EXPECT_EQ(osal::takes(), 0U);
}

TEST_F(PropertyEvent, IsSentForItsOwnNameOnly) {
    CLS_HANDLE alias = cls_create_class("Alias");
    cls_add_listener_port(fan, "Speed", 5, 4);
    cls_add_listener_port(alias, "Speed", 6, 4);
    add_name("Alias", "Alias1");
    ASSERT_EQ(announce(FALSE), 0);
    ASSERT_EQ(osal::sent().size(), 1U);
    EXPECT_EQ(osal::sent()[0].queue_id, 5);
}

TEST_F(PropertyEvent, IsSentByAProcessThatDoesNotOwnThePool) {
    cls_add_listener_port(fan, "Speed", 5, 4);
    mox::test::become_member();
    EXPECT_EQ(announce(), 0);
    EXPECT_EQ(osal::sent_to(5).size(), 1U);
    mox::test::become_owner();
}

TEST_F(PropertyEvent, IsSentFromSeveralThreads) {
    cls_add_listener_port(fan, "Speed", 5, 4);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int n = 0; n < 50; ++n) EXPECT_EQ(announce(n % 2), 0);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(osal::sent_to(5).size(), 200U);
    EXPECT_LE(local().change_cnt, 200U);
    EXPECT_GT(local().change_cnt, 0U);
    EXPECT_EQ(record->ref_count, 1);
}

TEST_F(PropertyEvent, NeedsAListenerListThatCanBeAskedFor) {
    GVariant* value = g_variant_ref_sink(g_variant_new_int32(1));
    EXPECT_EQ(_send_property_event(nullptr, "Fan1", "Speed", value), -2001);
    EXPECT_EQ(local().change_cnt, 0U);
    g_variant_unref(value);
}

// Three names: Fan1 of Fan, Alias1 of Alias, Other1 of Other, with the ports 5, 6 and 7.
class GroupEvent : public PropertyEvent {
protected:
    void SetUp() override {
        PropertyEvent::SetUp();
        cls_add_listener_port(fan, "Speed", 5, 4);
        cls_add_listener_port(cls_create_class("Alias"), "Speed", 6, 4);
        cls_add_listener_port(cls_create_class("Other"), "Speed", 7, 4);
        add_name("Alias", "Alias1");
        add_name("Other", "Other1");
    }
};

TEST_F(GroupEvent, IsSentOncePerNameInListOrder) {
    ASSERT_EQ(announce(TRUE), 0);
    const auto sent = osal::sent();
    ASSERT_EQ(sent.size(), 3U);
    const std::vector<std::string> names{"Fan1", "Alias1", "Other1"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(sent[i].queue_id, 5 + static_cast<gint32>(i));
        EXPECT_EQ(text_at(sent[i].bytes, 76, 32), names[i]);
        EXPECT_EQ(text_at(sent[i].bytes, 108, 32), "Speed");
    }
}

TEST_F(GroupEvent, EndsWithTheFirstNameThatFails) {
    osal::fail_sends_to(6, -4711);
    CapturedSyslog log;
    gint32 result = 0;
    stdout_of([&] { result = announce(TRUE); });
    EXPECT_EQ(result, -4711);
    EXPECT_EQ(osal::sent_to(5).size(), 1U);
    EXPECT_EQ(osal::sent_to(7).size(), 0U);
    EXPECT_EQ(log.text(), error_line("Alias1.Speed prop event notify failed: -4711!\r\n "));
}

TEST_F(GroupEvent, CountsForTheObjectOfEachName) {
    auto* alias = static_cast<OBJECT_HEAD_S*>(
        lom_create_object_embryo(1, "Alias1", "Alias", "", "Logical", 0));
    const gint32 number = 1;
    CONST_TLV_S tlv = {"i", sizeof(number), &number};
    lom_init_property(alias, 0, "Speed", &tlv, "rw");
    lom_add_object(alias);
    ASSERT_EQ(announce(TRUE), 0);
    EXPECT_EQ(local().change_cnt, 1U);
    EXPECT_EQ(static_cast<LOCAL_PROPERTY_S*>(g_hash_table_lookup(alias->property_hash, "Speed"))
                  ->change_cnt,
              1U);
    EXPECT_EQ(alias->ref_count, 1);
}

TEST_F(GroupEvent, OfAnObjectWithoutANameListIsAnInternalFailure) {
    CLASS_OBJECT_LIST_S* list = record->name_list;
    record->name_list = nullptr;
    EXPECT_EQ(announce(TRUE), -2000);
    EXPECT_EQ(announce(FALSE), 0);
    EXPECT_EQ(record->ref_count, 1);
    record->name_list = list;
}

class EventCounter : public PropertyEvent {};

TEST_F(EventCounter, CountsSentAndReceivedEventsApart) {
    EXPECT_EQ(lom_count_event(handle, "Speed", TRUE), 0);
    EXPECT_EQ(lom_count_event(handle, "Speed", FALSE), 0);
    EXPECT_EQ(lom_count_event(handle, "Speed", TRUE), 0);
    EXPECT_EQ(local().change_cnt, 2U);
    EXPECT_EQ(local().receive_cnt, 1U);
    EXPECT_EQ(record->ref_count, 1);
}

TEST_F(EventCounter, CountsWithoutALimit) {
    auto& counted = const_cast<LOCAL_PROPERTY_S&>(local());
    counted.change_cnt = G_MAXUINT32;
    EXPECT_EQ(lom_count_event(handle, "Speed", TRUE), 0);
    EXPECT_EQ(counted.change_cnt, 0U);
}

TEST_F(EventCounter, RefusesHandleZeroAndNoName) {
    EXPECT_EQ(lom_count_event(0, "Speed", TRUE), -2001);
    EXPECT_EQ(lom_count_event(handle, nullptr, TRUE), -2001);
}

TEST_F(EventCounter, DoesNotFindAnUnknownObjectOrProperty) {
    EXPECT_EQ(lom_count_event(lom_name_to_handle("NoSuchObject"), "Speed", TRUE), -2009);
    EXPECT_EQ(lom_count_event(handle, "Noise", TRUE), -2010);
    EXPECT_EQ(record->ref_count, 1);
}

}  // namespace
