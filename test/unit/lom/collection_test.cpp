// The collection object of a class as it is made and updated.
#include <gtest/gtest.h>
#include <lom/collection.h>

#include <string>
#include <vector>

#include "value_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;
using mox::test::property_of;
using mox::test::record_of;
using mox::test::stored_value;

// Makes or updates a collection.
OBJ_HANDLE collect(const std::string& class_name, const std::vector<const gchar*>& names,
                   gint32 count) {
    GVariant* const value =
        g_variant_ref_sink(g_variant_new_strv(names.data(), static_cast<gssize>(names.size())));
    const OBJ_HANDLE handle = lom_create_collection(class_name.c_str(), count, value);
    g_variant_unref(value);
    return handle;
}
OBJ_HANDLE collect(const std::string& class_name, const std::vector<const gchar*>& names) {
    return collect(class_name, names, static_cast<gint32>(names.size()));
}

class Collection : public mox::test::ValueFixture {};

TEST_F(Collection, IsAnObjectNamedByItsClass) {
    const OBJ_HANDLE handle = collect("Fan", {"Fan1", "Fan2"});
    ASSERT_NE(handle, 0);
    EXPECT_STREQ(lom_get_object_name(handle), "Fan:C");
    EXPECT_EQ(lom_get_object_handle("Fan:C"), handle);
}

TEST_F(Collection, IsOfTheClassCollection) {
    const OBJ_HANDLE handle = collect("Fan", {"Fan1"});
    gchar name[PUB_NAME_LENGTH];
    EXPECT_EQ(lom_get_class_name(handle, name, PUB_NAME_LENGTH), 0);
    EXPECT_STREQ(name, "Collection");
    EXPECT_EQ(lom_get_charged_class(handle, name, PUB_NAME_LENGTH), 0);
    EXPECT_STREQ(name, "Collection");
    EXPECT_EQ(record_of("Fan:C")->class_name, record_of("Fan:C")->name_list->class_name);
}

TEST_F(Collection, HasCountAndListInThisOrderAndNothingElse) {
    collect("Fan", {"Fan1", "Fan2"});
    const OBJECT_HEAD_S* const record = record_of("Fan:C");
    ASSERT_EQ(record->property_count, 2U);
    EXPECT_STREQ(record->property_entry[0].name, "Count");
    EXPECT_STREQ(record->property_entry[0].type, "u");
    EXPECT_EQ(record->property_entry[0].size, 4U);
    EXPECT_STREQ(record->property_entry[1].name, "List");
    EXPECT_STREQ(record->property_entry[1].type, "as");
    EXPECT_EQ(stored_value("Fan:C", "Count"), "uint32 2");
    EXPECT_EQ(stored_value("Fan:C", "List"), "['Fan1', 'Fan2']");
}

TEST_F(Collection, HasPropertiesToReadAndWrite) {
    collect("Fan", {"Fan1"});
    for (const char* const name : {"Count", "List"}) {
        EXPECT_EQ(property_of("Fan:C", name).state.bit.acc_r, 1U) << name;
        EXPECT_EQ(property_of("Fan:C", name).state.bit.acc_w, 1U) << name;
    }
}

TEST_F(Collection, HoldsTheSerializedArray) {
    collect("Fan", {"Fan1", "Fan2"});
    const std::vector<guint8> bytes = {'F', 'a', 'n', '1', 0, 'F', 'a', 'n', '2', 0, 5, 10};
    EXPECT_EQ(mox::test::stored_bytes(property_of("Fan:C", "List")), bytes);
}

TEST_F(Collection, IsCompleteWhenItIsAdded) {
    collect("Fan", {"Fan1"});
    EXPECT_EQ(record_of("Fan:C")->status, OBJECT_NORMAL);
    EXPECT_EQ(record_of("Fan:C")->type, OBJECT_TYPE_LOGICAL);
}

TEST_F(Collection, TakesTheCountAsItIsGiven) {
    collect("Fan", {"Fan1"}, 3);
    EXPECT_EQ(stored_value("Fan:C", "Count"), "uint32 3");
}

TEST_F(Collection, OfAClassOf40CharactersIsNamedByTheFirst32) {
    const std::string name = std::string(32, 'a') + ":C";
    const OBJ_HANDLE handle = collect(std::string(32, 'a') + "bbbbbbbb", {"Fan1"});
    ASSERT_NE(handle, 0);
    EXPECT_EQ(lom_get_object_name(handle), name);
    EXPECT_EQ(lom_get_object_handle(name.c_str()), handle);
}

TEST_F(Collection, OfALongClassNameIsFoundAgain) {
    for (std::size_t length = 28; length <= 33; ++length) {
        const std::string class_name(length, static_cast<char>('a' + length % 26));
        const OBJ_HANDLE handle = collect(class_name, {"Fan1"});
        const std::string name = class_name.substr(0, 32) + ":C";
        ASSERT_NE(handle, 0) << length;
        EXPECT_EQ(lom_get_object_name(handle), name);
        EXPECT_EQ(collect(class_name, {"Fan1", "Fan2"}), 0) << length;
        EXPECT_EQ(stored_value(name, "Count"), "uint32 2") << length;
    }
    EXPECT_EQ(mox::test::all_records().size(), 6U);
}

TEST_F(Collection, GivesAllItsMemoryBackWhenItIsDeleted) {
    collect(std::string(32, 'a'), {"Fan1", "Fan2"});
    mox::test::delete_object(std::string(32, 'a') + ":C");
    EXPECT_EQ(space::live_blocks(), 0U);
    EXPECT_EQ(osal::freed().size(), osal::created().size());
}

TEST_F(Collection, KeepsTheValueThatItWasMadeFromAlone) {
    const gchar* const names[] = {"Fan1", nullptr};
    GVariant* const value = g_variant_new_strv(names, 1);
    lom_create_collection("Fan", 1, value);
    EXPECT_TRUE(g_variant_is_floating(value));
    lom_create_collection("Fan", 1, value);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(value);
}

TEST_F(Collection, IsNotMadeWithoutNameCountOrValue) {
    GVariant* const value = g_variant_ref_sink(g_variant_new_strv(nullptr, 0));
    GVariant* const number = g_variant_ref_sink(g_variant_new_int32(7));
    EXPECT_EQ(lom_create_collection(nullptr, 1, value), 0);
    EXPECT_EQ(lom_create_collection("Fan", 0, value), 0);
    EXPECT_EQ(lom_create_collection("Fan", -1, value), 0);
    EXPECT_EQ(lom_create_collection("Fan", 1, nullptr), 0);
    EXPECT_EQ(lom_create_collection("Fan", 1, number), 0);
    g_variant_unref(number);
    g_variant_unref(value);
    EXPECT_EQ(space::allocations(), 0U);
    EXPECT_TRUE(mox::test::all_records().empty());
}

TEST_F(Collection, IsMadeByThePoolsOwnerAlone) {
    mox::test::become_member();
    EXPECT_EQ(collect("Fan", {"Fan1"}), 0);
    mox::test::become_owner();
    EXPECT_TRUE(mox::test::all_records().empty());
}

TEST_F(Collection, IsUpdatedByThePoolsOwnerAlone) {
    collect("Fan", {"Fan1"});
    mox::test::become_member();
    EXPECT_EQ(collect("Fan", {"Fan1", "Fan2"}), 0);
    mox::test::become_owner();
    EXPECT_EQ(stored_value("Fan:C", "Count"), "uint32 1");
    EXPECT_EQ(stored_value("Fan:C", "List"), "['Fan1']");
}

TEST_F(Collection, OfAnEmptyArrayHasAnEmptyList) {
    EXPECT_NE(collect("Fan", {}, 1), 0);
    EXPECT_EQ(property_of("Fan:C", "List").size, 0U);
    collect("Fan", {"Fan1"});
    EXPECT_EQ(collect("Fan", {}, 1), 0);
    EXPECT_EQ(property_of("Fan:C", "List").size, 0U);
}

TEST_F(Collection, StoresAnArrayInNormalForm) {
    static const guint8 broken[] = {'F', 'a', 'n', '1', 9};
    GVariant* const value = g_variant_ref_sink(g_variant_new_from_data(
        G_VARIANT_TYPE_STRING_ARRAY, broken, sizeof broken, FALSE, nullptr, nullptr));
    GVariant* const normal = g_variant_get_normal_form(value);
    const gsize size = g_variant_get_size(normal);
    g_variant_unref(normal);
    EXPECT_NE(lom_create_collection("Fan", 1, value), 0);
    g_variant_unref(value);
    EXPECT_EQ(property_of("Fan:C", "List").size, size);
    GVariant* stored = nullptr;
    ASSERT_EQ(lom_get_property_value(lom_get_object_handle("Fan:C"), "List", FALSE, &stored, FALSE),
              0);
    EXPECT_TRUE(g_variant_is_normal_form(stored));
    g_variant_unref(stored);
}

// Tries to make a collection while the n-th allocation fails. Nothing is published, nothing is left
// but the record's bitmap, if that was made and nothing else, and the semaphore goes back. Returns
// whether it was made.
bool is_made_without_room_at(guint failing, const std::string& class_name) {
    const gsize before = space::live_blocks();
    space::fail_allocation(failing);
    OBJ_HANDLE handle = 0;
    mox::test::CapturedSyslog log;
    mox::test::stdout_of([&] { handle = collect(class_name, {"Fan1"}); });
    if (handle != 0) return true;
    EXPECT_EQ(space::live_blocks(), before + (failing == 2 || failing == 3 ? 1 : 0)) << failing;
    EXPECT_EQ(osal::freed().size(), osal::created().size()) << failing;
    EXPECT_TRUE(mox::test::all_records().empty()) << failing;
    return false;
}

TEST_F(Collection, IsNotMadeWhenThePoolHasNoRoom) {
    guint failing = 1;
    while (failing < 20 && !is_made_without_room_at(failing, "Fan")) ++failing;
    EXPECT_EQ(failing, 7U) << "bitmap, names, properties, two names and the list";
}

TEST_F(Collection, IsNotMadeWithoutASemaphore) {
    const gsize blocks = space::live_blocks();
    osal::fail_create(1);
    EXPECT_EQ(collect("Fan", {"Fan1"}), 0);
    EXPECT_EQ(record_of("Fan:C"), nullptr);
    EXPECT_EQ(space::live_blocks(), blocks);
    EXPECT_NE(collect("Fan", {"Fan1"}), 0);
}

TEST_F(Collection, OfALongClassNameIsNotMadeWhenThePoolHasNoRoomForTheWholeName) {
    EXPECT_FALSE(is_made_without_room_at(5, std::string(32, 'a')));
}

class CollectionUpdate : public mox::test::ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        handle = collect("Fan", {"Fan1", "Fan2"});
    }
    OBJ_HANDLE handle = 0;
};

TEST_F(CollectionUpdate, GivesNoHandleAndKeepsTheObject) {
    const OBJECT_HEAD_S* const record = record_of("Fan:C");
    EXPECT_EQ(collect("Fan", {"Fan1", "Fan2", "Fan3"}), 0);
    EXPECT_EQ(record_of("Fan:C"), record);
    EXPECT_EQ(lom_get_object_handle("Fan:C"), handle);
    EXPECT_EQ(mox::test::all_records().size(), 1U);
}

TEST_F(CollectionUpdate, ReplacesCountAndListByLongerOnes) {
    collect("Fan", {"Fan1", "Fan2", "AFanOfALongerName", "Fan4"});
    EXPECT_EQ(stored_value("Fan:C", "Count"), "uint32 4");
    EXPECT_EQ(stored_value("Fan:C", "List"), "['Fan1', 'Fan2', 'AFanOfALongerName', 'Fan4']");
}

TEST_F(CollectionUpdate, ReplacesCountAndListByShorterOnes) {
    collect("Fan", {"F"});
    EXPECT_EQ(stored_value("Fan:C", "Count"), "uint32 1");
    EXPECT_EQ(stored_value("Fan:C", "List"), "['F']");
}

TEST_F(CollectionUpdate, StopsWhenTheCountCannotBeReplaced) {
    osal::fail_take(1);
    EXPECT_EQ(collect("Fan", {"Fan3"}), 0);
    EXPECT_EQ(stored_value("Fan:C", "Count"), "uint32 2");
    EXPECT_EQ(stored_value("Fan:C", "List"), "['Fan1', 'Fan2']");
}

TEST_F(CollectionUpdate, IgnoresThatTheListCannotBeReplaced) {
    osal::fail_take(2);
    EXPECT_EQ(collect("Fan", {"Fan3"}), 0);
    EXPECT_EQ(stored_value("Fan:C", "Count"), "uint32 1");
    EXPECT_EQ(stored_value("Fan:C", "List"), "['Fan1', 'Fan2']");
}

TEST_F(CollectionUpdate, OfAnObjectThatOnlyHasTheNameLeavesItAlone) {
    const OBJ_HANDLE other =
        mox::test::add_object({.name = "Disk:C", .properties = {mox::test::text("List", "mine")}});
    EXPECT_EQ(collect("Disk", {"Disk1"}), 0);
    EXPECT_EQ(lom_get_object_handle("Disk:C"), other);
    EXPECT_EQ(stored_value("Disk:C", "List"), "'mine'");
}

}  // namespace
