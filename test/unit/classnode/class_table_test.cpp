// Classes by name: creation in the owner and elsewhere, lookup, and the end of a class.
#include "classnode/class_table.hpp"

#include <classnode.h>
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.hpp"
#include "member_process.hpp"
#include "pool_fixture.hpp"

namespace {

namespace space = mox::fake::space;
using mox::test::become_member;
using mox::test::CapturedSyslog;
using mox::test::MemberProcess;
using mox::test::stdout_of;

std::string error_line(const std::string& text) {
    return std::string("[ ") + mox::test::DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m " +
           text;
}

// Creates a class without showing what is printed meanwhile.
CLS_HANDLE create_silently(const gchar* name) {
    CLS_HANDLE handle = nullptr;
    stdout_of([&] { handle = cls_create_class(name); });
    return handle;
}

class ClassCreation : public mox::test::PoolFixture {};

TEST_F(ClassCreation, InTheOwnerMakesASharedAndAPrivateRecord) {
    CLS_HANDLE fan = cls_create_class("Fan");
    ASSERT_NE(fan, nullptr);
    ASSERT_NE(fan->share, nullptr);
    EXPECT_STREQ(fan->share->class_name, "Fan");
    EXPECT_EQ(fan->share->parent, nullptr);
    EXPECT_EQ(fan->share->next, nullptr);
    EXPECT_EQ(fan->share->listener_array, nullptr);
    ASSERT_NE(fan->priv, nullptr);
    EXPECT_EQ(fan->priv->state, CLASS_OBJECT_NULL);
    EXPECT_EQ(fan->priv->collection_object, 0);
    EXPECT_EQ(fan->priv->owned_module, nullptr);
    EXPECT_EQ(fan->priv->object_list, nullptr);
    EXPECT_EQ(fan->priv->new_object_list, nullptr);
}

TEST_F(ClassCreation, PutsTheSharedRecordAndItsNameIntoThePool) {
    CLS_HANDLE fan = cls_create_class("Fan");
    EXPECT_EQ(space::size_of(fan->share), sizeof(SHARE_CLASS_DATA_S));
    EXPECT_EQ(space::size_of(fan->share->class_name), 4U);
    EXPECT_EQ(space::live_blocks(), 2U);
    EXPECT_FALSE(space::is_live(fan->priv));
}

TEST_F(ClassCreation, CutsTheSharedNameTo31Characters) {
    const std::string name(40, 'c');
    CLS_HANDLE handle = cls_create_class(name.c_str());
    EXPECT_EQ(std::string(handle->share->class_name), std::string(31, 'c'));
    EXPECT_EQ(cls_get_class(name.c_str()), handle);
}

TEST_F(ClassCreation, OfTheFirstClassMakesItTheBase) {
    EXPECT_EQ(cls_get_share_base(), nullptr);
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_create_class("Disk");
    EXPECT_EQ(cls_get_share_base(), fan->share);
}

TEST_F(ClassCreation, WithoutANameIsNone) {
    CapturedSyslog log;
    EXPECT_EQ(cls_create_class(nullptr), nullptr);
    EXPECT_EQ(space::live_blocks(), 0U);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ClassCreation, OfAKnownClassIsRefusedAndLoggedOnce) {
    CLS_HANDLE fan = cls_create_class("Fan");
    const gsize blocks = space::live_blocks();
    CapturedSyslog log;
    EXPECT_EQ(create_silently("Fan"), nullptr);
    EXPECT_EQ(log.text(), error_line("duplicated class \"Fan\" in class profile.\n"));
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(cls_get_class("Fan"), fan);
    EXPECT_STREQ(fan->share->class_name, "Fan");
    EXPECT_EQ(space::live_blocks(), blocks);
}

TEST_F(ClassCreation, WithoutRoomForTheSharedRecordIsNone) {
    space::fail_allocation(1);
    EXPECT_EQ(create_silently("Fan"), nullptr);
    EXPECT_EQ(cls_get_class("Fan"), nullptr);
    EXPECT_EQ(cls_get_share_base(), nullptr);
    EXPECT_EQ(space::live_blocks(), 0U);
    EXPECT_NE(cls_create_class("Fan"), nullptr);
}

TEST_F(ClassCreation, WithoutRoomForTheNameLeavesTheSharedNameNull) {
    space::fail_allocation(2);
    CapturedSyslog log;
    CLS_HANDLE fan = create_silently("Fan");
    ASSERT_NE(fan, nullptr);
    EXPECT_EQ(fan->share->class_name, nullptr);
    EXPECT_EQ(cls_get_class("Fan"), fan);
    EXPECT_EQ(cls_get_share_base(), fan->share);
    EXPECT_EQ(log.text(), error_line("alloc share_mem failed, size 4.\n"));
}

TEST_F(ClassCreation, InAnyOtherProcessMakesAnEmptyNode) {
    become_member();
    CLS_HANDLE fan = cls_create_class("Fan");
    ASSERT_NE(fan, nullptr);
    EXPECT_EQ(fan->share, nullptr);
    EXPECT_EQ(fan->priv, nullptr);
    EXPECT_EQ(cls_get_class("Fan"), fan);
    EXPECT_EQ(cls_get_share_base(), nullptr);
    EXPECT_EQ(space::allocations() + space::failed_allocations(), 0U);
}

TEST_F(ClassCreation, KeepsItsOwnCopyOfTheName) {
    std::string name = "Fan";
    CLS_HANDLE fan = cls_create_class(name.c_str());
    name = "Xyz";
    EXPECT_EQ(cls_get_class("Fan"), fan);
    EXPECT_STREQ(cls_get_class_name(fan), "Fan");
}

TEST_F(ClassCreation, ByThreadsAtOnceAgreesOnOneBase) {
    std::atomic<int> waiting{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&waiting, name = "Class" + std::to_string(i)] {
            ++waiting;
            while (waiting < 4) std::this_thread::yield();
            CLS_HANDLE made = cls_create_class(name.c_str());
            gpointer base = cls_get_share_base();
            EXPECT_NE(base, nullptr);
            EXPECT_EQ(cls_get_class(name.c_str()), made);
            for (int n = 0; n < 100; ++n) EXPECT_EQ(cls_get_share_base(), base);
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::set<gpointer> records;
    for (int i = 0; i < 4; ++i) {
        CLS_HANDLE made = cls_get_class(("Class" + std::to_string(i)).c_str());
        ASSERT_NE(made, nullptr);
        records.insert(made->share);
    }
    EXPECT_EQ(records.count(cls_get_share_base()), 1U);
}

class ClassLookup : public mox::test::PoolFixture {};

TEST_F(ClassLookup, FindsAClassByItsWholeName) {
    CLS_HANDLE fan = cls_create_class("Fan");
    CLS_HANDLE disk = cls_create_class("Disk");
    EXPECT_EQ(cls_get_class("Fan"), fan);
    EXPECT_EQ(cls_get_class("Disk"), disk);
    EXPECT_EQ(cls_get_class("Fa"), nullptr);
    EXPECT_EQ(cls_get_class("fan"), nullptr);
}

TEST_F(ClassLookup, FindsNothingBeforeTheFirstClass) {
    EXPECT_EQ(cls_get_class("Fan"), nullptr);
    EXPECT_FALSE(cls_is_exist("Fan"));
}

TEST_F(ClassLookup, FindsNothingForNull) {
    cls_create_class("Fan");
    EXPECT_EQ(cls_get_class(nullptr), nullptr);
    EXPECT_FALSE(cls_is_exist(nullptr));
}

TEST_F(ClassLookup, TellsWhichNamesExist) {
    cls_create_class("Fan");
    EXPECT_TRUE(cls_is_exist("Fan"));
    EXPECT_FALSE(cls_is_exist("Disk"));
}

TEST_F(ClassLookup, RunsBesideTheCreationOfOtherClasses) {
    CLS_HANDLE fan = cls_create_class("Fan");
    std::thread creator([] {
        for (int i = 0; i < 200; ++i) cls_create_class(("Class" + std::to_string(i)).c_str());
    });
    for (int i = 0; i < 200; ++i) EXPECT_EQ(cls_get_class("Fan"), fan);
    creator.join();
    EXPECT_NE(cls_get_class("Class199"), nullptr);
}

class ClassTraversal : public mox::test::PoolFixture {};

void note_class(gpointer key, gpointer value, gpointer user_data) {
    auto* seen = static_cast<std::set<std::pair<std::string, gpointer>>*>(user_data);
    seen->emplace(static_cast<const gchar*>(key), value);
}

TEST_F(ClassTraversal, SeesEveryClassWithItsNameAndHandle) {
    gpointer fan = cls_create_class("Fan");
    gpointer disk = cls_create_class("Disk");
    std::set<std::pair<std::string, gpointer>> seen;
    cls_class_foreach(note_class, &seen);
    EXPECT_EQ(seen, (std::set<std::pair<std::string, gpointer>>{{"Fan", fan}, {"Disk", disk}}));
}

TEST_F(ClassTraversal, SeesNothingBeforeTheFirstClass) {
    std::set<std::pair<std::string, gpointer>> seen;
    cls_class_foreach(note_class, &seen);
    EXPECT_TRUE(seen.empty());
}

class ClassDestruction : public mox::test::PoolFixture {};

TEST_F(ClassDestruction, InTheOwnerGivesTheSharedRecordAndItsNameBack) {
    CLS_HANDLE fan = cls_create_class("Fan");
    PRIVATE_CLASS_DATA_S* priv = fan->priv;
    g_hash_table_remove(g_class_hashtable, "Fan");
    EXPECT_EQ(space::live_blocks(), 0U);
    EXPECT_EQ(space::releases(), 2U);
    EXPECT_FALSE(cls_is_exist("Fan"));
    g_free(priv);
}

// The sanitizer sees the read of a freed record, and that both lists are gone.
TEST_F(ClassDestruction, FreesTheObjectListsButNotThePrivateRecord) {
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_add_object("Fan", lom_name_to_handle("Fan1"));
    PRIVATE_CLASS_DATA_S* priv = fan->priv;
    g_hash_table_remove(g_class_hashtable, "Fan");
    EXPECT_EQ(priv->state, CLASS_OBJECT_ADDED);
    g_free(priv);
}

TEST_F(ClassDestruction, LeavesTheSharedListenerListAlone) {
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_add_listener_port(fan, "Speed", 5, 2);
    gpointer list = cls_get_serialized_listener_list(fan);
    PRIVATE_CLASS_DATA_S* priv = fan->priv;
    g_hash_table_remove(g_class_hashtable, "Fan");
    EXPECT_TRUE(space::is_live(list));
    EXPECT_EQ(space::live_blocks(), 3U);
    g_free(priv);
}

TEST_F(ClassDestruction, InAnyOtherProcessFreesOnlyTheNode) {
    CLS_HANDLE owners = cls_create_class("Fan");
    {
        const MemberProcess member;
        cls_create_class("Fan");
        cls_init_share_data(member.owners_base());
        EXPECT_EQ(cls_get_class("Fan")->share, owners->share);
        g_hash_table_remove(g_class_hashtable, "Fan");
    }
    EXPECT_EQ(space::live_blocks(), 2U);
    EXPECT_STREQ(cls_get_class_name(owners), "Fan");
}

}  // namespace
