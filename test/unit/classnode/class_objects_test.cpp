// The owner's private record of a class: change state, owner and objects.
#include <classnode.h>
#include <gtest/gtest.h>
#include <lom/registry.h>
#include <moxlib/moxbase.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "captured_output.hpp"
#include "member_process.hpp"
#include "pool_fixture.hpp"

namespace {

using mox::test::CapturedSyslog;
using mox::test::MemberProcess;
using mox::test::stdout_of;

using Getter = gint32 (*)(CLS_HANDLE, GSList**);

// The handles that a list function gives, or its code as the only element.
std::vector<gint32> listed(Getter getter, CLS_HANDLE class_handle) {
    GSList* list = nullptr;
    const gint32 result = getter(class_handle, &list);
    if (result != MOX_OK) return {result};
    std::vector<gint32> handles;
    for (const GSList* item = list; item != nullptr; item = item->next) {
        handles.push_back(GPOINTER_TO_INT(item->data));
    }
    g_slist_free(list);
    return handles;
}

using Handles = std::vector<gint32>;

std::string error_line(const std::string& text) {
    return std::string("[ ") + mox::test::DebugLevel::module() + " ] \x1b[0;31mERROR:\x1b[0m " +
           text;
}

// A published object without properties.
OBJ_HANDLE make_object(const gchar* name, const gchar* class_name) {
    OBJECT_PTR object = lom_create_object_embryo(0, name, class_name, "", "Logical", 0);
    return lom_add_object(object);
}

class ClassObjects : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        fan = cls_create_class("Fan");
        a = make_object("FanA", "Fan");
        b = make_object("FanB", "Fan");
    }
    CLS_HANDLE fan = nullptr;
    OBJ_HANDLE a = 0;
    OBJ_HANDLE b = 0;
};

TEST_F(ClassObjects, AreListedNewestFirst) {
    cls_add_object("Fan", a);
    cls_add_object("Fan", b);
    EXPECT_EQ(listed(cls_get_object_list, fan), (Handles{b, a}));
    EXPECT_EQ(listed(cls_get_newobj_list, fan), (Handles{b, a}));
    EXPECT_EQ(cls_get_object_count(fan), 2U);
}

TEST_F(ClassObjects, ThatWereAddedMarkTheClassAdded) {
    cls_set_state(fan, CLASS_OBJECT_ARCHIVE);
    cls_add_object("Fan", a);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ADDED);
}

TEST_F(ClassObjects, ThatWereDeletedMarkTheClassDeleted) {
    cls_add_object("Fan", a);
    cls_set_state(fan, CLASS_OBJECT_ARCHIVE);
    cls_del_object(a);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_DELETED);
}

TEST_F(ClassObjects, AddedAndDeletedStayInTheListOfNewOnes) {
    cls_add_object("Fan", a);
    cls_add_object("Fan", b);
    cls_del_object(a);
    EXPECT_EQ(listed(cls_get_object_list, fan), Handles{b});
    EXPECT_EQ(listed(cls_get_newobj_list, fan), (Handles{b, a}));
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_DELETED);
    EXPECT_EQ(cls_get_object_count(fan), 1U);
}

TEST_F(ClassObjects, MayBeAddedTwice) {
    cls_add_object("Fan", a);
    cls_add_object("Fan", a);
    EXPECT_EQ(listed(cls_get_object_list, fan), (Handles{a, a}));
}

TEST_F(ClassObjects, LoseOnlyTheFirstOccurrenceOfADeletedOne) {
    cls_add_object("Fan", a);
    cls_add_object("Fan", b);
    cls_add_object("Fan", a);
    cls_del_object(a);
    EXPECT_EQ(listed(cls_get_object_list, fan), (Handles{b, a}));
}

TEST_F(ClassObjects, ThatWereNeverAddedStillMarkTheClassDeleted) {
    cls_del_object(a);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_DELETED);
    EXPECT_EQ(cls_get_object_count(fan), 0U);
}

TEST_F(ClassObjects, AreNotAddedWithoutANameOrAHandle) {
    CapturedSyslog log;
    cls_add_object(nullptr, a);
    cls_add_object("Fan", 0);
    cls_add_object("NoSuchClass", 0);
    EXPECT_EQ(cls_get_object_count(fan), 0U);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_NULL);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ClassObjects, OfAnUnknownClassAreLoggedWhenTheyAreAdded) {
    CapturedSyslog log;
    stdout_of([&] { cls_add_object("Disk", a); });
    EXPECT_EQ(log.text(), error_line("class Disk of object FanA not found.\n"));
}

TEST_F(ClassObjects, OfAnUnknownClassAreLoggedWhenTheyAreDeleted) {
    const OBJ_HANDLE disk = make_object("DiskA", "Disk");
    CapturedSyslog log;
    stdout_of([&] { cls_del_object(disk); });
    EXPECT_EQ(log.text(), error_line("class Disk of object DiskA not found.\n"));
}

TEST_F(ClassObjects, ThatDoNotExistAreNotDeleted) {
    cls_add_object("Fan", a);
    CapturedSyslog log;
    cls_del_object(0);
    cls_del_object(lom_name_to_handle("NoSuchObject"));
    EXPECT_EQ(cls_get_object_count(fan), 1U);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ADDED);
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(ClassObjects, AreDeletedFromTheClassThatTheObjectNames) {
    CLS_HANDLE disk = cls_create_class("Disk");
    cls_add_object("Disk", a);
    cls_add_object("Fan", a);
    cls_del_object(a);
    EXPECT_EQ(listed(cls_get_object_list, disk), Handles{a});
    EXPECT_EQ(listed(cls_get_object_list, fan), Handles{MOX_ERR_OBJECT_NOT_FOUND});
    EXPECT_EQ(cls_get_state(disk), CLASS_OBJECT_ADDED);
}

TEST_F(ClassObjects, AreGivenAsACopyOfTheList) {
    cls_add_object("Fan", a);
    GSList* copy = nullptr;
    ASSERT_EQ(cls_get_object_list(fan, &copy), 0);
    cls_add_object("Fan", b);
    EXPECT_EQ(g_slist_length(copy), 1U);
    g_slist_free(copy);
    EXPECT_EQ(cls_get_object_count(fan), 2U);
}

TEST_F(ClassObjects, AreNotFoundInAnEmptyList) {
    EXPECT_EQ(listed(cls_get_object_list, fan), Handles{-2009});
    EXPECT_EQ(listed(cls_get_newobj_list, fan), Handles{-2009});
}

TEST_F(ClassObjects, AreNotListedForNullArguments) {
    GSList* list = nullptr;
    EXPECT_EQ(cls_get_object_list(nullptr, &list), -2001);
    EXPECT_EQ(cls_get_object_list(fan, nullptr), -2001);
    EXPECT_EQ(cls_get_newobj_list(nullptr, &list), -2001);
    EXPECT_EQ(cls_get_newobj_list(fan, nullptr), -2001);
}

TEST_F(ClassObjects, ThatAreNewAreForgottenOnlyByTheClearing) {
    cls_add_object("Fan", a);
    cls_clear_newobj_list(fan);
    EXPECT_EQ(listed(cls_get_newobj_list, fan), Handles{-2009});
    EXPECT_EQ(listed(cls_get_object_list, fan), Handles{a});
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ADDED);
    cls_clear_newobj_list(fan);
    cls_add_object("Fan", b);
    EXPECT_EQ(listed(cls_get_newobj_list, fan), Handles{b});
}

TEST_F(ClassObjects, AreAddedListedAndCountedByThreadsAtOnce) {
    std::thread adder([this] {
        for (int i = 0; i < 200; ++i) cls_add_object("Fan", a);
    });
    std::thread deleter([this] {
        for (int i = 0; i < 100; ++i) cls_del_object(b);
    });
    for (int i = 0; i < 100; ++i) {
        for (const gint32 handle : listed(cls_get_object_list, fan)) {
            EXPECT_TRUE(handle == a || handle == MOX_ERR_OBJECT_NOT_FOUND);
        }
        cls_get_object_count(fan);
        if (i % 10 == 0) cls_clear_newobj_list(fan);
    }
    adder.join();
    deleter.join();
    EXPECT_EQ(cls_get_object_count(fan), 200U);
}

class ClassPrivateData : public mox::test::PoolFixture {};

TEST_F(ClassPrivateData, IsReadAsItWasWritten) {
    CLS_HANDLE fan = cls_create_class("Fan");
    int module = 0;
    cls_set_state(fan, CLASS_OBJECT_ARCHIVE);
    cls_set_collection_object(fan, 17);
    cls_set_module(fan, &module);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ARCHIVE);
    EXPECT_EQ(cls_get_collection_object(fan), 17);
    EXPECT_EQ(cls_get_module(fan), &module);
}

TEST_F(ClassPrivateData, OfNullIsEmpty) {
    cls_set_state(nullptr, CLASS_OBJECT_ADDED);
    cls_set_collection_object(nullptr, 17);
    cls_set_module(nullptr, this);
    cls_clear_newobj_list(nullptr);
    EXPECT_EQ(cls_get_state(nullptr), CLASS_OBJECT_NULL);
    EXPECT_EQ(cls_get_collection_object(nullptr), 0);
    EXPECT_EQ(cls_get_module(nullptr), nullptr);
    EXPECT_EQ(cls_get_object_count(nullptr), 0U);
}

TEST_F(ClassPrivateData, IsNotThereInAnyOtherProcess) {
    cls_create_class("Fan");
    const MemberProcess member;
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_init_share_data(member.owners_base());
    cls_set_state(fan, CLASS_OBJECT_ADDED);
    cls_set_collection_object(fan, 17);
    cls_set_module(fan, this);
    cls_add_object("Fan", 1);
    cls_clear_newobj_list(fan);
    EXPECT_EQ(cls_get_state(fan), 0);
    EXPECT_EQ(cls_get_collection_object(fan), 0);
    EXPECT_EQ(cls_get_module(fan), nullptr);
    EXPECT_EQ(cls_get_object_count(fan), 0U);
    EXPECT_EQ(listed(cls_get_object_list, fan), Handles{-2009});
    EXPECT_EQ(listed(cls_get_newobj_list, fan), Handles{-2009});
}

TEST(ClassStates, HaveTheEstablishedNumbers) {
    EXPECT_EQ(static_cast<int>(CLASS_OBJECT_NULL), 0);
    EXPECT_EQ(static_cast<int>(CLASS_OBJECT_ARCHIVE), 1);
    EXPECT_EQ(static_cast<int>(CLASS_OBJECT_ADDED), 2);
    EXPECT_EQ(static_cast<int>(CLASS_OBJECT_DELETED), 3);
}

}  // namespace
