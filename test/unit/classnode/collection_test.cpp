// The rebuild of a class's collection object: when it is made, from what, and who is told.
#include <classnode.h>
#include <gtest/gtest.h>
#include <lom/property.h>
#include <lom/registry.h>

#include <string>
#include <thread>
#include <vector>

#include "captured_output.hpp"
#include "member_process.hpp"
#include "pool_fixture.hpp"

namespace {
bool is_next_array_failing = false;
}

// The program is linked so that the library's calls of g_variant_new_strv come here.
extern "C" {
GVariant* __real_g_variant_new_strv(const gchar* const* strings, gssize length);
GVariant* __wrap_g_variant_new_strv(const gchar* const* strings, gssize length) {
    if (is_next_array_failing) {
        is_next_array_failing = false;
        return nullptr;
    }
    return __real_g_variant_new_strv(strings, length);
}
}

namespace {

using mox::test::CapturedSyslog;
using mox::test::DebugLevel;
using mox::test::stdout_of;

using Names = std::vector<std::string>;

// What the notification function was called with: "(null)" for a null element.
std::vector<CLS_HANDLE> g_notified_classes;
std::vector<Names> g_notified_names;

void note_new_objects(CLS_HANDLE class_handle, GSList* object_names) {
    Names names;
    for (const GSList* item = object_names; item != nullptr; item = item->next) {
        const auto* const name = static_cast<const gchar*>(item->data);
        names.emplace_back(name == nullptr ? "(null)" : name);
    }
    g_notified_classes.push_back(class_handle);
    g_notified_names.push_back(names);
}

std::string stamped(const std::string& text) {  // MX_DBG_DETAIL
    return std::string("[ 0:0:0.000 ][ ") + DebugLevel::module() + " ] " + text;
}

class ClassCollection : public mox::test::PoolFixture {
protected:
    void SetUp() override {
        mox::test::PoolFixture::SetUp();
        g_notified_classes.clear();
        g_notified_names.clear();
        is_next_array_failing = false;
        fan = cls_create_class("Fan");
    }

    // A published object in its class's lists.
    static OBJ_HANDLE add(const std::string& name, const gchar* class_name = "Fan") {
        OBJECT_PTR object = lom_create_object_embryo(0, name.c_str(), class_name, "", "Logical", 0);
        const OBJ_HANDLE handle = lom_add_object(object);
        lom_ready_object(object);
        cls_add_object(class_name, handle);
        return handle;
    }

    void rebuild(NewObjNotifyFunc func = nullptr) const { cls_create_collection("Fan", fan, func); }

    static std::string value(const std::string& object, const gchar* property) {
        GVariant* value = nullptr;
        const gint32 code = lom_get_property_value(lom_get_object_handle(object.c_str()), property,
                                                   FALSE, &value, FALSE);
        if (code != MOX_OK) return "code " + std::to_string(code);
        gchar* const text = g_variant_print(value, FALSE);
        const std::string result = text;
        g_free(text);
        g_variant_unref(value);
        return result;
    }
    static std::string count() { return value("Fan:C", "Count"); }
    static std::string list() { return value("Fan:C", "List"); }

    CLS_HANDLE fan = nullptr;
};

TEST_F(ClassCollection, ListsTheObjectsOldestFirst) {
    add("Fan1");
    add("Fan2");
    rebuild();
    gchar class_name[PUB_NAME_LENGTH];
    EXPECT_EQ(lom_get_class_name(lom_get_object_handle("Fan:C"), class_name, PUB_NAME_LENGTH), 0);
    EXPECT_STREQ(class_name, "Collection");
    EXPECT_EQ(count(), "2");
    EXPECT_EQ(list(), "['Fan1', 'Fan2']");
}

TEST_F(ClassCollection, IsKeptByTheClass) {
    add("Fan1");
    rebuild();
    EXPECT_NE(cls_get_collection_object(fan), 0);
    EXPECT_EQ(cls_get_collection_object(fan), lom_get_object_handle("Fan:C"));
}

TEST_F(ClassCollection, IsUpToDateAfterwards) {
    add("Fan1");
    rebuild();
    GSList* list = nullptr;
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ARCHIVE);
    EXPECT_EQ(cls_get_newobj_list(fan, &list), -2009);
    EXPECT_EQ(cls_get_object_count(fan), 1U);
}

TEST_F(ClassCollection, IsNamedByTheHandleNotByTheGivenName) {
    add("Fan1");
    cls_create_collection("Blower", fan, nullptr);
    EXPECT_NE(lom_get_object_handle("Fan:C"), 0);
    EXPECT_EQ(lom_get_object_handle("Blower:C"), 0);
}

TEST_F(ClassCollection, IsUpdatedAfterAnotherAdditionAndKeepsItsFirstHandle) {
    add("Fan1");
    rebuild();
    const OBJ_HANDLE first = cls_get_collection_object(fan);
    add("Fan2");
    rebuild();
    EXPECT_EQ(cls_get_collection_object(fan), first);
    EXPECT_EQ(lom_get_object_handle("Fan:C"), first);
    EXPECT_EQ(count(), "2");
    EXPECT_EQ(list(), "['Fan1', 'Fan2']");
}

TEST_F(ClassCollection, OfALongClassNameIsUpdatedToo) {
    const std::string name(40, 'c');
    CLS_HANDLE handle = cls_create_class(name.c_str());
    const std::string stored = cls_get_class_name(handle);
    add("Fan1", name.c_str());
    cls_create_collection(name.c_str(), handle, nullptr);
    const OBJ_HANDLE first = cls_get_collection_object(handle);
    add("Fan2", name.c_str());
    cls_create_collection(name.c_str(), handle, nullptr);
    EXPECT_NE(first, 0);
    EXPECT_EQ(cls_get_collection_object(handle), first);
    EXPECT_EQ(lom_get_object_handle((stored + ":C").c_str()), first);
    EXPECT_EQ(value(stored + ":C", "List"), "['Fan1', 'Fan2']");
}

TEST_F(ClassCollection, IsUpdatedAfterADeletion) {
    const OBJ_HANDLE first = add("Fan1");
    add("Fan2");
    rebuild();
    cls_del_object(first);
    rebuild();
    EXPECT_EQ(count(), "1");
    EXPECT_EQ(list(), "['Fan2']");
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ARCHIVE);
}

TEST_F(ClassCollection, StillListsTheLastObjectAfterItsDeletion) {
    const OBJ_HANDLE last = add("Fan1");
    rebuild();
    cls_del_object(last);
    rebuild(note_new_objects);
    EXPECT_EQ(count(), "1");
    EXPECT_EQ(list(), "['Fan1']");
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_DELETED);
    EXPECT_TRUE(g_notified_names.empty());
}

TEST_F(ClassCollection, OfADeletedLastObjectKeepsTheNewObjectsForLater) {
    cls_del_object(add("Fan1"));
    rebuild(note_new_objects);
    EXPECT_EQ(lom_get_object_handle("Fan:C"), 0);
    EXPECT_TRUE(g_notified_names.empty());
    add("Fan2");
    rebuild(note_new_objects);
    EXPECT_EQ(list(), "['Fan2']");
    EXPECT_EQ(g_notified_names, (std::vector<Names>{{"Fan1", "Fan2"}}));
}

TEST_F(ClassCollection, IsNotTouchedWithoutAChange) {
    add("Fan1");
    rebuild();
    const gsize takes = mox::fake::osal::takes();
    DebugLevel level{"3"};
    EXPECT_EQ(stdout_of([this] { rebuild(note_new_objects); }),
              stamped("cls_create_collection: class Fan no object change.\n"));
    EXPECT_EQ(mox::fake::osal::takes(), takes);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ARCHIVE);
    EXPECT_TRUE(g_notified_names.empty());
}

TEST_F(ClassCollection, OfAClassThatNeverHadAnObjectIsNotMade) {
    DebugLevel level{"3"};
    EXPECT_EQ(stdout_of([this] { rebuild(note_new_objects); }),
              stamped("cls_create_collection: class Fan no object change.\n"));
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_NULL);
    EXPECT_EQ(lom_get_object_handle("Fan:C"), 0);
}

TEST_F(ClassCollection, WithoutObjectsOfAnAddedClassIsAnErrorThatChangesNothing) {
    add("Fan1");
    rebuild();
    cls_del_object(lom_name_to_handle("Fan1"));
    cls_set_state(fan, CLASS_OBJECT_ADDED);
    CapturedSyslog log;
    stdout_of([this] { rebuild(note_new_objects); });
    EXPECT_EQ(log.text(), std::string("[ ") + DebugLevel::module() +
                              " ] \x1b[0;31mERROR:\x1b[0m "
                              "cls_create_collection: object count of class Fan is 0.\n");
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ADDED);
    EXPECT_EQ(list(), "['Fan1']");
    EXPECT_TRUE(g_notified_names.empty());
}

TEST_F(ClassCollection, NeedsANameAndAClass) {
    add("Fan1");
    CapturedSyslog log;
    cls_create_collection(nullptr, fan, note_new_objects);
    cls_create_collection("Fan", nullptr, note_new_objects);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ADDED);
    EXPECT_EQ(lom_get_object_handle("Fan:C"), 0);
    EXPECT_TRUE(g_notified_names.empty());
    EXPECT_EQ(log.text(), "");
}

TEST_F(ClassCollection, IsNotRebuiltInAnyOtherProcess) {
    add("Fan1");
    const mox::test::MemberProcess member;
    CLS_HANDLE own = cls_create_class("Fan");
    cls_init_share_data(member.owners_base());
    cls_create_collection("Fan", own, note_new_objects);
    EXPECT_EQ(lom_get_object_handle("Fan:C"), 0);
    EXPECT_TRUE(g_notified_names.empty());
}

TEST_F(ClassCollection, CutsNamesAt31Characters) {
    const std::string name(40, 'n');
    cls_add_object("Fan", lom_name_to_handle(name.c_str()));
    rebuild();
    EXPECT_EQ(list(), "['" + name.substr(0, 31) + "']");
}

TEST_F(ClassCollection, HasAnEmptyNameForAnElementWithoutOne) {
    add("Fan1");
    fan->priv->object_list = g_slist_prepend(fan->priv->object_list, GINT_TO_POINTER(0));
    cls_add_object("Fan", G_MAXINT32);  // was never given out
    add("Fan2");
    rebuild();
    EXPECT_EQ(count(), "4");
    EXPECT_EQ(list(), "['Fan1', '', '', 'Fan2']");
}

TEST_F(ClassCollection, HasAnEmptyNameForOneThatIsNoText) {
    add("Fan1");
    add("\xff\xfe");
    add(std::string(30, 'n') + "\xc3\xa9");  // the cut takes half a character
    rebuild();
    EXPECT_EQ(list(), "['Fan1', '', '']");
}

TEST_F(ClassCollection, IsForgottenWhenTheArrayCannotBeMade) {
    add("Fan1");
    rebuild();
    add("Fan2");
    is_next_array_failing = true;
    rebuild(note_new_objects);
    EXPECT_FALSE(is_next_array_failing);
    GSList* list_of_new = nullptr;
    EXPECT_EQ(list(), "['Fan1']");
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ARCHIVE);
    EXPECT_EQ(cls_get_newobj_list(fan, &list_of_new), -2009);
    EXPECT_TRUE(g_notified_names.empty());
}

TEST_F(ClassCollection, ThatCannotBeMadeStillCompletesTheRebuild) {
    add("Fan1");
    cls_set_collection_object(fan, 17);
    mox::fake::space::fail_allocations(true);
    CapturedSyslog log;
    stdout_of([this] { rebuild(note_new_objects); });
    mox::fake::space::fail_allocations(false);
    EXPECT_EQ(cls_get_collection_object(fan), 17);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ARCHIVE);
    EXPECT_EQ(g_notified_names, (std::vector<Names>{{"Fan1"}}));
}

TEST_F(ClassCollection, TellsTheNotifierTheNewObjectsOldestFirst) {
    add("Fan1");
    add("Fan2");
    add("Fan3");
    rebuild(note_new_objects);
    EXPECT_EQ(g_notified_classes, std::vector<CLS_HANDLE>{fan});
    EXPECT_EQ(g_notified_names, (std::vector<Names>{{"Fan1", "Fan2", "Fan3"}}));
}

TEST_F(ClassCollection, TellsTheNotifierOnlyWhatIsNewSinceTheLastRebuild) {
    add("Fan1");
    rebuild();
    add("Fan2");
    cls_del_object(add("Fan3"));
    rebuild(note_new_objects);
    EXPECT_EQ(list(), "['Fan1', 'Fan2']");
    EXPECT_EQ(g_notified_names, (std::vector<Names>{{"Fan2", "Fan3"}}));
}

TEST_F(ClassCollection, DoesNotCallTheNotifierWithoutNewObjects) {
    const OBJ_HANDLE first = add("Fan1");
    add("Fan2");
    rebuild();
    cls_del_object(first);
    rebuild(note_new_objects);
    EXPECT_EQ(list(), "['Fan2']");
    EXPECT_TRUE(g_notified_names.empty());
}

TEST_F(ClassCollection, TellsTheNotifierOfANameThatCannotBeCopied) {
    add("Fan1");
    fan->priv->new_object_list = g_slist_prepend(fan->priv->new_object_list, GINT_TO_POINTER(0));
    cls_add_object("Fan", G_MAXINT32);  // was never given out
    add("Fan2");
    EXPECT_EQ(stdout_of([this] { rebuild(note_new_objects); }),
              std::string("[ ") + DebugLevel::module() +
                  " ] cls_create_collection: g_strdup failed!(Fan).\n");
    EXPECT_EQ(g_notified_names, (std::vector<Names>{{"Fan1", "(null)", "Fan2"}}));
}

std::string g_seen_list;
bool g_was_lock_free = false;

TEST_F(ClassCollection, IsThereWhenTheNotifierRunsWithoutALock) {
    add("Fan1");
    g_was_lock_free = false;
    rebuild([](CLS_HANDLE, GSList*) {
        g_seen_list = list();
        g_was_lock_free = g_mutex_trylock(&class_table_lock()) != FALSE;
        if (g_was_lock_free) g_mutex_unlock(&class_table_lock());
    });
    EXPECT_EQ(g_seen_list, "['Fan1']");
    EXPECT_TRUE(g_was_lock_free);
}

TEST_F(ClassCollection, IsRebuiltWhileOtherThreadsAddObjects) {
    constexpr int kObjects = 200;
    std::thread adder([] {
        for (int number = 0; number < kObjects; ++number) {
            cls_add_object("Fan", lom_name_to_handle(("Fan" + std::to_string(number)).c_str()));
        }
    });
    while (cls_get_object_count(fan) < kObjects) cls_create_collection("Fan", fan, nullptr);
    adder.join();
    cls_set_state(fan, CLASS_OBJECT_ADDED);
    cls_create_collection("Fan", fan, nullptr);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ARCHIVE);
    EXPECT_NE(cls_get_collection_object(fan), 0);
}

}  // namespace
