// The chain of shared records: attaching to it from another process, types and parents.
#include <classnode.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.hpp"
#include "classnode/class_table.hpp"
#include "member_process.hpp"
#include "pool_fixture.hpp"

namespace {

using mox::test::CapturedSyslog;
using mox::test::MemberProcess;
using mox::test::stdout_of;

// The owner's classes Device <- Fan <- FastFan, and Disk, chained in that order.
class SharedClasses : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        device = cls_create_class("Device");
        fan = cls_create_class("Fan");
        fast_fan = cls_create_class("FastFan");
        disk = cls_create_class("Disk");
        cls_set_next(device, fan);
        cls_set_next(fan, fast_fan);
        cls_set_next(fast_fan, disk);
        cls_set_parent(fan, device);
        cls_set_parent(fast_fan, fan);
    }
    CLS_HANDLE device = nullptr;
    CLS_HANDLE fan = nullptr;
    CLS_HANDLE fast_fan = nullptr;
    CLS_HANDLE disk = nullptr;
};

using ClassChain = SharedClasses;

TEST_F(ClassChain, LinksSharedRecords) {
    EXPECT_EQ(device->share->next, fan->share);
    EXPECT_EQ(fast_fan->share->next, disk->share);
    EXPECT_EQ(disk->share->next, nullptr);
    EXPECT_EQ(fan->share->parent, device->share);
    EXPECT_EQ(fast_fan->share->parent, fan->share);
    EXPECT_EQ(device->share->parent, nullptr);
}

TEST_F(ClassChain, IsNotChangedByNullHandles) {
    cls_set_next(nullptr, fan);
    cls_set_next(device, nullptr);
    cls_set_parent(nullptr, fan);
    cls_set_parent(fan, nullptr);
    EXPECT_EQ(device->share->next, fan->share);
    EXPECT_EQ(fan->share->parent, device->share);
}

TEST_F(ClassChain, IsNotChangedThroughAHandleWithoutASharedRecord) {
    MODULE_CLASS_NODE_S empty = {};
    cls_set_next(&empty, fan);
    cls_set_parent(&empty, fan);
    EXPECT_EQ(empty.share, nullptr);
}

TEST_F(ClassChain, EndsAtAHandleWithoutASharedRecord) {
    MODULE_CLASS_NODE_S empty = {};
    cls_set_next(device, &empty);
    cls_set_parent(fan, &empty);
    EXPECT_EQ(device->share->next, nullptr);
    EXPECT_EQ(fan->share->parent, nullptr);
}

using ClassAttachment = SharedClasses;

TEST_F(ClassAttachment, OfAllKnownClassesFollowsTheChain) {
    const MemberProcess member;
    cls_create_class("Disk");
    cls_create_class("Fan");
    cls_create_class("Unchained");
    cls_init_share_data(member.owners_base());
    EXPECT_EQ(cls_get_class("Disk")->share, disk->share);
    EXPECT_EQ(cls_get_class("Fan")->share, fan->share);
    EXPECT_EQ(cls_get_class("Unchained")->share, nullptr);
    EXPECT_EQ(cls_get_class("Fan")->priv, nullptr);
    EXPECT_FALSE(cls_is_exist("Device"));
}

TEST_F(ClassAttachment, SetsTheBase) {
    const MemberProcess member;
    cls_init_share_data(member.owners_base());
    EXPECT_EQ(cls_get_share_base(), device->share);
}

TEST_F(ClassAttachment, ToNothingDoesNothing) {
    const MemberProcess member;
    cls_create_class("Fan");
    cls_init_share_data(nullptr);
    EXPECT_EQ(cls_get_share_base(), nullptr);
    EXPECT_EQ(cls_get_class("Fan")->share, nullptr);
}

TEST_F(ClassAttachment, KeepsTheFirstBaseButAttachesAlongTheGivenChain) {
    const MemberProcess member;
    cls_create_class("Disk");
    cls_create_class("Device");
    cls_init_share_data(fan->share);
    EXPECT_EQ(cls_get_class("Device")->share, nullptr);
    cls_init_share_data(device->share);
    EXPECT_EQ(cls_get_share_base(), fan->share);
    EXPECT_EQ(cls_get_class("Device")->share, device->share);
    EXPECT_EQ(cls_get_class("Disk")->share, disk->share);
}

TEST_F(ClassAttachment, ByThreadsAtOnceAgreesOnOneBase) {
    const MemberProcess member;
    std::atomic<int> waiting{0};
    std::vector<std::thread> threads;
    std::vector<gpointer> seen(4, nullptr);
    const std::vector<gpointer> bases{device->share, fan->share, fast_fan->share, disk->share};
    for (std::size_t i = 0; i < bases.size(); ++i) {
        threads.emplace_back([&, i] {
            ++waiting;
            while (waiting < 4) std::this_thread::yield();
            cls_init_share_data(bases[i]);
            seen[i] = cls_get_share_base();
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(seen, std::vector<gpointer>(4, seen[0]));
}

TEST_F(ClassAttachment, OfOneClassFindsItsRecordInTheChain) {
    const MemberProcess member;
    cls_init_share_data(member.owners_base());
    CLS_HANDLE attached = _add_new_class("FastFan");
    ASSERT_NE(attached, nullptr);
    EXPECT_EQ(attached->share, fast_fan->share);
    EXPECT_EQ(attached->priv, nullptr);
    EXPECT_EQ(cls_get_class("FastFan"), attached);
}

TEST_F(ClassAttachment, OfAnUnknownClassIsNone) {
    const MemberProcess member;
    cls_init_share_data(member.owners_base());
    EXPECT_EQ(_add_new_class("Unknown"), nullptr);
    EXPECT_FALSE(cls_is_exist("Unknown"));
}

TEST_F(ClassAttachment, WithoutABaseIsNone) {
    const MemberProcess member;
    EXPECT_EQ(_add_new_class("Fan"), nullptr);
    EXPECT_FALSE(cls_is_exist("Fan"));
}

// A class that two threads need for the first time at once is one class, and no thread misses it.
TEST_F(ClassAttachment, ByThreadsAtOnceGivesOneAttachedClass) {
    for (int round = 0; round < 20; ++round) {
        const MemberProcess member;
        cls_init_share_data(member.owners_base());
        std::atomic<int> waiting{0};
        std::atomic<int> missed{0};
        CapturedSyslog log;
        const std::string shown = stdout_of([&] {
            std::vector<std::thread> threads;
            for (int i = 0; i < 4; ++i) {
                threads.emplace_back([&] {
                    ++waiting;
                    while (waiting < 4) std::this_thread::yield();
                    if (!cls_name_is_type("FastFan", "Device")) ++missed;
                });
            }
            for (std::thread& thread : threads) thread.join();
        });
        EXPECT_EQ(missed, 0);
        EXPECT_EQ(shown, "");
        EXPECT_EQ(cls_get_class("FastFan")->share, fast_fan->share);
    }
}

using ClassType = SharedClasses;

TEST_F(ClassType, IsItsOwnAndEveryAncestors) {
    EXPECT_TRUE(cls_is_type(fast_fan, "FastFan"));
    EXPECT_TRUE(cls_is_type(fast_fan, "Fan"));
    EXPECT_TRUE(cls_is_type(fast_fan, "Device"));
}

TEST_F(ClassType, IsNotADescendantsNorAStrangers) {
    EXPECT_FALSE(cls_is_type(device, "Fan"));
    EXPECT_FALSE(cls_is_type(fast_fan, "Disk"));
    EXPECT_FALSE(cls_is_type(disk, "Device"));
}

TEST_F(ClassType, IsNoneForNullArguments) {
    EXPECT_FALSE(cls_is_type(nullptr, "Fan"));
    EXPECT_FALSE(cls_is_type(fan, nullptr));
}

TEST_F(ClassType, IsNoneWithoutASharedRecord) {
    MODULE_CLASS_NODE_S empty = {};
    EXPECT_FALSE(cls_is_type(&empty, "Fan"));
}

TEST_F(ClassType, ByNameIsTrueForEqualNamesEvenOfNoClass) {
    EXPECT_TRUE(cls_name_is_type("NoSuchClass", "NoSuchClass"));
    EXPECT_FALSE(cls_is_exist("NoSuchClass"));
}

TEST_F(ClassType, ByNameFollowsTheAncestors) {
    EXPECT_TRUE(cls_name_is_type("FastFan", "Device"));
    EXPECT_FALSE(cls_name_is_type("Device", "FastFan"));
    EXPECT_FALSE(cls_name_is_type("NoSuchClass", "Device"));
}

TEST_F(ClassType, ByNameIsNoneForNullArguments) {
    EXPECT_FALSE(cls_name_is_type(nullptr, "Fan"));
    EXPECT_FALSE(cls_name_is_type("Fan", nullptr));
    EXPECT_FALSE(cls_name_is_type(nullptr, nullptr));
}

TEST_F(ClassType, ByNameAttachesAClassThatThisProcessDoesNotKnowYet) {
    const MemberProcess member;
    cls_init_share_data(member.owners_base());
    EXPECT_TRUE(cls_name_is_type("FastFan", "Device"));
    ASSERT_TRUE(cls_is_exist("FastFan"));
    EXPECT_EQ(cls_get_class("FastFan")->share, fast_fan->share);
}

using ClassNames = SharedClasses;

TEST_F(ClassNames, AreThePoolsOwnStrings) {
    EXPECT_EQ(cls_get_class_name(fan), fan->share->class_name);
    EXPECT_STREQ(cls_get_class_name(fan), "Fan");
}

TEST_F(ClassNames, AreNullWithoutAHandleOrARecord) {
    MODULE_CLASS_NODE_S empty = {};
    EXPECT_EQ(cls_get_class_name(nullptr), nullptr);
    EXPECT_EQ(cls_get_class_name(&empty), nullptr);
}

TEST_F(ClassNames, OfTheParentHandleAreTheClasssOwn) {
    EXPECT_EQ(cls_get_parent(fast_fan), fast_fan);
    EXPECT_EQ(cls_get_parent(device), device);
}

TEST_F(ClassNames, OfTheParentHandleAreNoneWithoutAHandleOrARecord) {
    MODULE_CLASS_NODE_S empty = {};
    EXPECT_EQ(cls_get_parent(nullptr), nullptr);
    EXPECT_EQ(cls_get_parent(&empty), nullptr);
}

}  // namespace
