// The pool in another process: mapped at the same address, so that the owner's pointers can be
// followed there just as they stand.
#include <classnode.h>
#include <lom.h>
#include <shmem.h>

#include <cstring>
#include <memory>
#include <vector>

#include "core_model.hpp"

namespace mox::test {
namespace {

using AttachedPool = ProcessTest;

TEST_F(AttachedPool, LiesAtTheFixedAddressInOwnerAndMember) {
    Role member{"member", [](Channel& test) {
                    receive_object(test);
                    test.tell(find_pool());
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {});
    send_object(member, "Fan1", kMemberId, FALSE);
    const auto seen = member.hear<PoolMapping>();
    member.finish();
    const PoolMapping own = find_pool();
    EXPECT_EQ(own.address, SHM_POOL_ADDRESS);
    EXPECT_EQ(seen.address, own.address);
    EXPECT_EQ(seen.segment, own.segment);
}

TEST_F(AttachedPool, IsNotThereBeforeAMemberAttachesIt) {
    Role member{"member", [](Channel& test) {
                    test.hear<char>();
                    EXPECT_EQ(find_pool().address, 0U);
                    receive_object(test);
                    EXPECT_EQ(find_pool().address, SHM_POOL_ADDRESS);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {});
    member.tell('p');
    send_object(member, "Fan1", kMemberId, FALSE);
    member.finish();
}

// Makes three classes in a chain: "Device", and below it "Sensor" and "Fan".
void make_classes() {
    CLS_HANDLE device = cls_create_class("Device");
    CLS_HANDLE sensor = cls_create_class("Sensor");
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_set_parent(sensor, device);
    cls_set_parent(fan, device);
    cls_set_next(device, sensor);
    cls_set_next(sensor, fan);
}

TEST_F(AttachedPool, ShowsTheClassRecordsByTheirPointers) {
    Role member{"member", [](Channel& test) {
                    const auto* first = test.hear<const SHARE_CLASS_DATA_S*>();
                    attach_pool();
                    ASSERT_TRUE(is_in_pool(first));
                    ASSERT_TRUE(is_in_pool(first->class_name));
                    EXPECT_STREQ(first->class_name, "Device");
                    EXPECT_EQ(first->parent, nullptr);
                    const SHARE_CLASS_DATA_S* second = first->next;
                    ASSERT_TRUE(is_in_pool(second));
                    EXPECT_STREQ(second->class_name, "Sensor");
                    EXPECT_EQ(second->parent, first);
                    ASSERT_TRUE(is_in_pool(second->next));
                    EXPECT_STREQ(second->next->class_name, "Fan");
                    EXPECT_EQ(second->next->parent, first);
                    EXPECT_EQ(second->next->next, nullptr);
                }};
    const PoolOwner owner;
    make_classes();
    member.tell(static_cast<const SHARE_CLASS_DATA_S*>(cls_get_share_base()));
    member.finish();
}

TEST_F(AttachedPool, TellsAMemberWhichClassIsOfWhichType) {
    Role member{"member", [](Channel& test) {
                    auto* const base = test.hear<gpointer>();
                    attach_pool();
                    cls_create_class("Sensor");
                    cls_init_share_data(base);
                    EXPECT_STREQ(cls_get_class_name(cls_get_class("Sensor")), "Sensor");
                    EXPECT_TRUE(cls_name_is_type("Sensor", "Device"));
                    EXPECT_FALSE(cls_name_is_type("Sensor", "Fan"));
                    EXPECT_TRUE(cls_name_is_type("Fan", "Device")) << "attached on first use";
                }};
    const PoolOwner owner;
    make_classes();
    member.tell(cls_get_share_base());
    member.finish();
}

TEST_F(AttachedPool, ShowsAnObjectsNamesAndPropertiesByTheirPointers) {
    Role member{"member", [](Channel& test) {
                    const OBJECT_HEAD_S object = receive_record(test);
                    ASSERT_TRUE(is_in_pool(object.object_name));
                    EXPECT_STREQ(object.object_name, "Fan1");
                    EXPECT_STREQ(object.class_name, "Fan");
                    EXPECT_EQ(object.mutex_obj_name, nullptr);
                    ASSERT_TRUE(is_in_pool(object.ref_bitmap));
                    ASSERT_EQ(object.property_count, 2U);
                    const SERIALISED_PROPERTY_S* const speed = object.property_entry;
                    ASSERT_TRUE(is_in_pool(speed));
                    EXPECT_STREQ(speed->name, "Speed");
                    EXPECT_STREQ(speed->type, "u");
                    EXPECT_STREQ(speed->accessor, "FanSpeed");
                    EXPECT_EQ(speed->data, speed->data_hold) << "a number lies in its record";
                    guint32 value = 0;
                    std::memcpy(&value, speed->data, sizeof(value));
                    EXPECT_EQ(value, 1200U);
                    const SERIALISED_PROPERTY_S* const label = speed->next_ptr;
                    ASSERT_TRUE(is_in_pool(label));
                    EXPECT_STREQ(label->name, "Label");
                    EXPECT_EQ(label->accessor, nullptr);
                    EXPECT_EQ(label->next_ptr, nullptr);
                    EXPECT_EQ(label->size, sizeof("left of the door"));
                    ASSERT_TRUE(is_in_pool(label->data));
                    EXPECT_STREQ(static_cast<const gchar*>(label->data), "left of the door");
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1",
                {number("Speed", 1200, "FanSpeed"), text("Label", "left of the door")});
    send_object(member, "Fan1", kMemberId, FALSE);
    member.finish();
}

TEST_F(AttachedPool, ShowsTheNamesUnderWhichAnObjectIsKnown) {
    Role member{"member", [](Channel& test) {
                    const OBJECT_HEAD_S object = receive_record(test);
                    const CLASS_OBJECT_LIST_S* node = object.name_list;
                    ASSERT_TRUE(is_in_pool(node));
                    EXPECT_STREQ(node->class_name, "Fan");
                    EXPECT_STREQ(node->object_name, "Fan1");
                    EXPECT_EQ(node->object_name, object.object_name);
                    node = node->next;
                    ASSERT_TRUE(is_in_pool(node));
                    EXPECT_STREQ(node->class_name, "Cooler");
                    EXPECT_STREQ(node->object_name, "FrontCooler");
                    EXPECT_EQ(node->next, nullptr);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    make_object("Cooler", "FrontCooler", {});
    ASSERT_EQ(lom_set_reference("FrontCooler", "Fan1"), MOX_OK);
    send_object(member, "Fan1", kMemberId, FALSE);
    member.finish();
}

TEST_F(AttachedPool, IsSharedByFourMembersAtOnce) {
    std::vector<std::unique_ptr<Role>> members;
    for (int i = 1; i <= 4; ++i) {
        members.push_back(std::make_unique<Role>("member " + std::to_string(i), [](Channel& test) {
            const OBJ_HANDLE fan = receive_object(test);
            test.tell('a');
            test.hear<char>();
            EXPECT_EQ(read_number(fan, "Speed"), 900U);
        }));
    }
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    for (gint32 id = 1; id <= 4; ++id) {
        send_object(*members[static_cast<gsize>(id) - 1], "Fan1", id, FALSE);
    }
    for (auto& member : members) member->hear<char>();
    write_number("Fan1", "Speed", 900);
    for (auto& member : members) member->tell('r');
    for (auto& member : members) member->finish();
}

}  // namespace
}  // namespace mox::test
