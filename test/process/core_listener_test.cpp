// Listener ports that the owner registers, as the other processes see them.
#include <classnode.h>

#include <vector>

#include "core_model.hpp"

namespace mox::test {
namespace {

using SharedListenerPorts = ProcessTest;
using Ports = std::vector<gint32>;

constexpr gint32 kMostPorts = 4;

Ports ports_of(const gchar* class_name, const gchar* property_name) {
    GSList* list = nullptr;
    EXPECT_EQ(cls_get_listener_list(class_name, property_name, &list), MOX_OK);
    Ports ports;
    for (const GSList* item = list; item != nullptr; item = item->next) {
        ports.push_back(GPOINTER_TO_INT(item->data));
    }
    g_slist_free(list);
    return ports;
}

// Attaches the pool and its classes once the owner has made them.
void attach_classes(Channel& test) {
    auto* const base = test.hear<gpointer>();
    attach_pool();
    cls_init_share_data(base);
}

TEST_F(SharedListenerPorts, AreSeenInAnotherProcessNewestFirst) {
    Role member{"member", [](Channel& test) {
                    attach_classes(test);
                    EXPECT_EQ(ports_of("Fan", "Speed"), (Ports{9, 70000, 5}));
                }};
    const PoolOwner owner;
    CLS_HANDLE fan = cls_create_class("Fan");
    for (const gint32 port : {5, 70000, 5, 9}) {
        cls_add_listener_port(fan, "Speed", port, kMostPorts);
    }
    member.tell(cls_get_share_base());
    member.finish();
}

TEST_F(SharedListenerPorts, RegisteredLaterAreSeenByAProcessThatHasLookedBefore) {
    Role member{"member", [](Channel& test) {
                    attach_classes(test);
                    EXPECT_EQ(ports_of("Fan", "Speed"), Ports{});
                    for (const Ports& expected : {Ports{5}, Ports{6, 5}, Ports{6, 5}}) {
                        test.tell('l');
                        test.hear<char>();
                        EXPECT_EQ(ports_of("Fan", "Speed"), expected);
                    }
                    EXPECT_EQ(ports_of("Fan", "Label"), Ports{8});
                }};
    const PoolOwner owner;
    CLS_HANDLE fan = cls_create_class("Fan");
    member.tell(cls_get_share_base());
    member.hear<char>();
    cls_add_listener_port(fan, "Speed", 5, kMostPorts);
    member.tell('r');
    member.hear<char>();
    cls_add_listener_port(fan, "Speed", 6, kMostPorts);
    member.tell('r');
    member.hear<char>();
    cls_add_listener_port(fan, "Label", 8, kMostPorts);
    member.tell('r');
    member.finish();
}

TEST_F(SharedListenerPorts, OverTheLimitAreSeenNowhere) {
    Role member{"member", [](Channel& test) {
                    attach_classes(test);
                    EXPECT_EQ(ports_of("Fan", "Speed"), (Ports{4, 3, 2, 1}));
                }};
    const PoolOwner owner;
    CLS_HANDLE fan = cls_create_class("Fan");
    for (gint32 port = 1; port <= kMostPorts + 3; ++port) {
        cls_add_listener_port(fan, "Speed", port, kMostPorts);
    }
    member.tell(cls_get_share_base());
    member.finish();
}

TEST_F(SharedListenerPorts, BelongToOneClassAndNotToItsParentOrChild) {
    Role member{"member", [](Channel& test) {
                    attach_classes(test);
                    EXPECT_EQ(ports_of("Fan", "Speed"), Ports{5});
                    EXPECT_EQ(ports_of("Device", "Speed"), Ports{});
                    EXPECT_EQ(ports_of("QuietFan", "Speed"), Ports{});
                    EXPECT_EQ(ports_of("NoSuchClass", "Speed"), Ports{});
                }};
    const PoolOwner owner;
    CLS_HANDLE device = cls_create_class("Device");
    CLS_HANDLE fan = cls_create_class("Fan");
    CLS_HANDLE quiet_fan = cls_create_class("QuietFan");
    cls_set_parent(fan, device);
    cls_set_parent(quiet_fan, fan);
    cls_set_next(device, fan);
    cls_set_next(fan, quiet_fan);
    cls_add_listener_port(fan, "Speed", 5, kMostPorts);
    member.tell(cls_get_share_base());
    member.finish();
}

TEST_F(SharedListenerPorts, AreNotRegisteredByAMember) {
    Role member{"member", [](Channel& test) {
                    attach_classes(test);
                    EXPECT_EQ(ports_of("Fan", "Speed"), Ports{5});
                    cls_add_listener_port(cls_get_class("Fan"), "Speed", 6, kMostPorts);
                    cls_add_listener_port(cls_get_class("Fan"), "Label", 6, kMostPorts);
                }};
    const PoolOwner owner;
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_add_listener_port(fan, "Speed", 5, kMostPorts);
    member.tell(cls_get_share_base());
    member.finish();
    EXPECT_EQ(ports_of("Fan", "Speed"), Ports{5});
    EXPECT_EQ(ports_of("Fan", "Label"), Ports{});
}

}  // namespace
}  // namespace mox::test
