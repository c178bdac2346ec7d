// The ports that listen to a class's properties.
#include "classnode/listener.hpp"

#include <classnode.h>
#include <gtest/gtest.h>
#include <moxlib/moxbase.h>

#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.hpp"
#include "member_process.hpp"
#include "pool_fixture.hpp"

namespace {

namespace space = mox::fake::space;
using mox::test::become_member;
using mox::test::MemberProcess;
using mox::test::stdout_of;

using Ports = std::vector<gint32>;

// The ports that listen, in the order in which they are given, or the code as the only element.
Ports listening(const gchar* class_name, const gchar* property_name) {
    GSList* list = nullptr;
    const gint32 result = cls_get_listener_list(class_name, property_name, &list);
    if (result != 0) return {result};
    Ports ports;
    for (const GSList* item = list; item != nullptr; item = item->next)
        ports.push_back(GPOINTER_TO_INT(item->data));
    g_slist_free(list);
    return ports;
}

SERIALIZED_LISTENER_LIST_S* head_of(CLS_HANDLE class_handle) {
    return static_cast<SERIALIZED_LISTENER_LIST_S*>(cls_get_serialized_listener_list(class_handle));
}

class ListenerPorts : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        fan = cls_create_class("Fan");
    }
    CLS_HANDLE fan = nullptr;
};

TEST_F(ListenerPorts, AreReturnedNewestFirst) {
    cls_add_listener_port(fan, "Speed", 5, 10);
    cls_add_listener_port(fan, "Speed", 7, 10);
    cls_add_listener_port(fan, "Speed", 6, 10);
    EXPECT_EQ(listening("Fan", "Speed"), (Ports{6, 7, 5}));
}

TEST_F(ListenerPorts, AreStoredInRegistrationOrder) {
    cls_add_listener_port(fan, "Speed", 5, 10);
    cls_add_listener_port(fan, "Speed", 7, 10);
    const LISTENER_ARRAY_HEAD_S* array = head_of(fan)->listener_array;
    ASSERT_EQ(array->count, 2);
    EXPECT_EQ(array->ipc_port[0], 5U);
    EXPECT_EQ(array->ipc_port[1], 7U);
}

TEST_F(ListenerPorts, AreNotAddedTwice) {
    cls_add_listener_port(fan, "Speed", 5, 10);
    cls_add_listener_port(fan, "Speed", 5, 10);
    EXPECT_EQ(head_of(fan)->listener_array->count, 1);
    cls_add_listener_port(fan, "Speed", 6, 10);
    cls_add_listener_port(fan, "Speed", 5, 10);
    EXPECT_EQ(listening("Fan", "Speed"), (Ports{6, 5}));
}

TEST_F(ListenerPorts, OverTheLimitAreDroppedSilently) {
    mox::test::CapturedSyslog log;
    for (const gint32 port : {5, 6, 7}) cls_add_listener_port(fan, "Speed", port, 2);
    EXPECT_EQ(listening("Fan", "Speed"), (Ports{6, 5}));
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ListenerPorts, KeepTheFirstOneEvenWithALimitOfZero) {
    cls_add_listener_port(fan, "Speed", 5, 0);
    cls_add_listener_port(fan, "Speed", 6, 0);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{5});
}

TEST_F(ListenerPorts, KeepOnlyTheFirstOneWithALimitOfOne) {
    cls_add_listener_port(fan, "Speed", 5, 1);
    cls_add_listener_port(fan, "Speed", 6, 1);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{5});
}

TEST_F(ListenerPorts, KeepOnlyTheFirstOneWithANegativeLimit) {
    cls_add_listener_port(fan, "Speed", 5, -1);
    cls_add_listener_port(fan, "Speed", 6, -1);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{5});
}

TEST_F(ListenerPorts, MayBeNegativeNumbers) {
    cls_add_listener_port(fan, "Speed", -5, 2);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{-5});
}

TEST_F(ListenerPorts, FillTheWholeLimit) {
    Ports expected;
    for (gint32 port = 1; port <= 255; ++port) {
        cls_add_listener_port(fan, "Speed", port, 255);
        expected.insert(expected.begin(), port);
    }
    cls_add_listener_port(fan, "Speed", 256, 255);
    EXPECT_EQ(listening("Fan", "Speed"), expected);
}

// The room was fixed by the first call; the sanitizer sees a port behind it.
TEST_F(ListenerPorts, NeverPassTheRoomThatTheFirstCallMade) {
    for (gint32 port = 1; port <= 20; ++port) cls_add_listener_port(fan, "Speed", port, port);
    EXPECT_LE(head_of(fan)->listener_array->count, 2);
    EXPECT_EQ(listening("Fan", "Speed").back(), 1);
    for (gint32 port = 1; port <= 400; ++port) cls_add_listener_port(fan, "Noise", port, 400);
    EXPECT_LE(listening("Fan", "Noise").size(), 255U);
}

TEST_F(ListenerPorts, TakeTheLimitFromEachCall) {
    for (const gint32 port : {1, 2}) cls_add_listener_port(fan, "Speed", port, 5);
    cls_add_listener_port(fan, "Speed", 3, 2);
    EXPECT_EQ(listening("Fan", "Speed"), (Ports{2, 1}));
    cls_add_listener_port(fan, "Speed", 3, 3);
    EXPECT_EQ(listening("Fan", "Speed"), (Ports{3, 2, 1}));
}

TEST_F(ListenerPorts, LieInABlockWithRoomForOneMoreThanTheLimit) {
    cls_add_listener_port(fan, "Speed", 5, 3);
    EXPECT_EQ(space::size_of(head_of(fan)->listener_array), 4U + 4U * 4U);
    EXPECT_EQ(offsetof(LISTENER_ARRAY_HEAD_S, ipc_port), 4U);
}

TEST_F(ListenerPorts, OfPropertiesStandInTheOrderOfTheirFirstRegistration) {
    for (const char* property : {"Speed", "Noise", "Age"})
        cls_add_listener_port(fan, property, 5, 2);
    cls_add_listener_port(fan, "Speed", 6, 2);
    const SERIALIZED_LISTENER_LIST_S* node = head_of(fan);
    EXPECT_STREQ(node->property_name, "Speed");
    EXPECT_STREQ(node->next->property_name, "Noise");
    EXPECT_STREQ(node->next->next->property_name, "Age");
    EXPECT_EQ(node->next->next->next, nullptr);
    EXPECT_EQ(listening("Fan", "Noise"), Ports{5});
}

TEST_F(ListenerPorts, OfALongPropertyNameAreKeptUnder31Characters) {
    const std::string name(31, 'p');
    cls_add_listener_port(fan, name.c_str(), 5, 2);
    EXPECT_EQ(std::string(head_of(fan)->property_name), name);
    EXPECT_EQ(space::size_of(head_of(fan)->property_name), 32U);
    const std::string longer(40, 'q');
    cls_add_listener_port(fan, longer.c_str(), 6, 2);
    EXPECT_EQ(std::string(head_of(fan)->next->property_name), std::string(31, 'q'));
    EXPECT_EQ(listening("Fan", std::string(31, 'q').c_str()), Ports{6});
}

TEST_F(ListenerPorts, AreNotInheritedByADerivedClass) {
    CLS_HANDLE fast_fan = cls_create_class("FastFan");
    cls_set_parent(fast_fan, fan);
    cls_add_listener_port(fan, "Speed", 5, 2);
    EXPECT_EQ(listening("FastFan", "Speed"), Ports{});
    cls_add_listener_port(fast_fan, "Speed", 6, 2);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{5});
}

TEST_F(ListenerPorts, AreAddedByTheOwnerOnly) {
    become_member();
    cls_add_listener_port(fan, "Speed", 5, 2);
    EXPECT_EQ(head_of(fan), nullptr);
    mox::test::become_owner();
    cls_add_listener_port(fan, "Speed", 5, 2);
    become_member();
    cls_add_listener_port(fan, "Speed", 6, 2);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{5});
}

TEST_F(ListenerPorts, AreNotAddedWithoutAHandleOrARecord) {
    MODULE_CLASS_NODE_S empty = {};
    cls_add_listener_port(nullptr, "Speed", 5, 2);
    cls_add_listener_port(&empty, "Speed", 5, 2);
    EXPECT_EQ(space::live_blocks(), 2U);
}

TEST_F(ListenerPorts, AreNotAddedWithoutAPropertyName) {
    cls_add_listener_port(fan, nullptr, 5, 2);
    EXPECT_EQ(head_of(fan), nullptr);
    cls_add_listener_port(fan, "Speed", 5, 2);
    cls_add_listener_port(fan, nullptr, 6, 2);
    EXPECT_EQ(head_of(fan)->next, nullptr);
}

TEST_F(ListenerPorts, AreNoneForAnUnknownClassOrProperty) {
    EXPECT_EQ(listening("NoSuchClass", "Speed"), Ports{});
    EXPECT_EQ(listening("Fan", "Speed"), Ports{});
    cls_add_listener_port(fan, "Speed", 5, 2);
    EXPECT_EQ(listening("Fan", "Noise"), Ports{});
}

TEST_F(ListenerPorts, OfNothingLeaveAnEmptyListBehind) {
    GSList left_over = {};
    GSList* list = &left_over;
    EXPECT_EQ(cls_get_listener_list("NoSuchClass", "Speed", &list), 0);
    EXPECT_EQ(list, nullptr);
}

TEST_F(ListenerPorts, AreRefusedForNullArguments) {
    GSList* list = nullptr;
    EXPECT_EQ(cls_get_listener_list(nullptr, "Speed", &list), -2001);
    EXPECT_EQ(cls_get_listener_list("Fan", nullptr, &list), -2001);
    EXPECT_EQ(cls_get_listener_list("Fan", "Speed", nullptr), -2001);
}

TEST_F(ListenerPorts, AreNoneOfAClassWithoutASharedRecord) {
    const MemberProcess member;
    cls_create_class("Fan");
    EXPECT_EQ(listening("Fan", "Speed"), Ports{});
}

TEST_F(ListenerPorts, AreSeenInAProcessThatDoesNotKnowTheClassYet) {
    cls_add_listener_port(fan, "Speed", 5, 2);
    const MemberProcess member;
    cls_init_share_data(member.owners_base());
    EXPECT_EQ(listening("Fan", "Speed"), Ports{5});
    EXPECT_TRUE(cls_is_exist("Fan"));
}

TEST_F(ListenerPorts, AreNotLinkedWhenTheNodeDoesNotFitThePool) {
    space::fail_allocation(1);
    stdout_of([this] { cls_add_listener_port(fan, "Speed", 5, 2); });
    EXPECT_EQ(head_of(fan), nullptr);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{});
    cls_add_listener_port(fan, "Speed", 5, 2);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{5});
}

TEST_F(ListenerPorts, AreNotLinkedBehindOthersWhenTheNodeDoesNotFitThePool) {
    cls_add_listener_port(fan, "Speed", 5, 2);
    space::fail_allocation(1);
    stdout_of([this] { cls_add_listener_port(fan, "Noise", 6, 2); });
    EXPECT_EQ(head_of(fan)->next, nullptr);
}

TEST_F(ListenerPorts, AreKeptUnderNoNameWhenTheNameDoesNotFitThePool) {
    space::fail_allocation(2);
    stdout_of([this] { cls_add_listener_port(fan, "Speed", 5, 2); });
    ASSERT_NE(head_of(fan), nullptr);
    EXPECT_EQ(head_of(fan)->property_name, nullptr);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{});
}

TEST_F(ListenerPorts, GetTheirArrayLaterWhenItDidNotFitThePool) {
    space::fail_allocation(3);
    stdout_of([this] { cls_add_listener_port(fan, "Speed", 5, 2); });
    ASSERT_NE(head_of(fan), nullptr);
    EXPECT_EQ(head_of(fan)->listener_array, nullptr);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{});
    space::fail_allocation(1);
    stdout_of([this] { cls_add_listener_port(fan, "Speed", 6, 2); });
    EXPECT_EQ(head_of(fan)->listener_array, nullptr);
    cls_add_listener_port(fan, "Speed", 6, 2);
    EXPECT_EQ(listening("Fan", "Speed"), Ports{6});
    EXPECT_EQ(head_of(fan)->next, nullptr);
}

TEST_F(ListenerPorts, AreReadWhileOthersAreAdded) {
    std::thread writer([this] {
        for (gint32 port = 1; port <= 200; ++port) {
            cls_add_listener_port(fan, "Speed", port, 200);
            cls_add_listener_port(fan, ("Property" + std::to_string(port)).c_str(), port, 1);
        }
    });
    std::size_t most = 0;
    for (int i = 0; i < 200; ++i) {
        const Ports ports = listening("Fan", "Speed");
        EXPECT_GE(ports.size(), most);
        most = ports.size();
        for (std::size_t n = 0; n < most; ++n) EXPECT_EQ(ports[n], static_cast<gint32>(most - n));
    }
    writer.join();
    EXPECT_EQ(listening("Fan", "Speed").size(), 200U);
}

class ListenerNode : public mox::test::PoolFixture {};

TEST_F(ListenerNode, HoldsItsNameAndOnePort) {
    const SERIALIZED_LISTENER_LIST_S* node = _create_listener_node("Speed", 5, 2);
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->property_name, "Speed");
    EXPECT_TRUE(space::is_live(node->property_name));
    EXPECT_EQ(node->next, nullptr);
    ASSERT_NE(node->listener_array, nullptr);
    EXPECT_EQ(node->listener_array->count, 1);
    EXPECT_EQ(node->listener_array->ipc_port[0], 5U);
    EXPECT_EQ(node->listener_array->ipc_port[1], 0U);
}

TEST_F(ListenerNode, IsNoneWithoutAName) {
    EXPECT_EQ(_create_listener_node(nullptr, 5, 2), nullptr);
    EXPECT_EQ(space::live_blocks(), 0U);
}

TEST_F(ListenerNode, IsTheHeadThatIsReadAndReplaced) {
    CLS_HANDLE fan = cls_create_class("Fan");
    EXPECT_EQ(cls_get_serialized_listener_list(fan), nullptr);
    cls_add_listener_port(fan, "Speed", 5, 2);
    gpointer old_head = cls_get_serialized_listener_list(fan);
    gpointer new_head = _create_listener_node("Noise", 6, 2);
    cls_set_serialized_listener_list(fan, new_head);
    EXPECT_EQ(cls_get_serialized_listener_list(fan), new_head);
    EXPECT_TRUE(space::is_live(old_head));
}

TEST_F(ListenerNode, IsNotReplacedByNullNorWithoutARecord) {
    CLS_HANDLE fan = cls_create_class("Fan");
    MODULE_CLASS_NODE_S empty = {};
    cls_add_listener_port(fan, "Speed", 5, 2);
    gpointer head = cls_get_serialized_listener_list(fan);
    cls_set_serialized_listener_list(fan, nullptr);
    cls_set_serialized_listener_list(nullptr, head);
    cls_set_serialized_listener_list(&empty, head);
    EXPECT_EQ(cls_get_serialized_listener_list(fan), head);
    EXPECT_EQ(cls_get_serialized_listener_list(nullptr), nullptr);
    EXPECT_EQ(cls_get_serialized_listener_list(&empty), nullptr);
}

}  // namespace
