// Aliases: binding, unbinding and finding objects by class and number.
#include <gtest/gtest.h>

#include <string>

#include "alias_fixture.hpp"

namespace {

using mox::test::add_object;
using mox::test::Aliases;
using mox::test::aliases;
using mox::test::put_alias;

const std::string k31(31, 'c');
const std::string k32(32, 'c');
const std::string k40(40, 'c');

class AliasBinding : public mox::test::AliasFixture {};

TEST_F(AliasBinding, StoresClassAndHexadecimalNumber) {
    EXPECT_EQ(lom_bind_alias(add_object({.name = "Fan1"}), 0x1A), 0);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan1a", "Fan1"}}));
}

TEST_F(AliasBinding, TakesTheSmallestAndTheLargestNumber) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    EXPECT_EQ(lom_bind_alias(fan, 0), 0);
    EXPECT_EQ(lom_bind_alias(fan, G_MAXUINT32), 0);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan0", "Fan1"}, {"a:Fanffffffff", "Fan1"}}));
}

TEST_F(AliasBinding, OfTheSameClassAndNumberReplacesTheFormer) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    EXPECT_EQ(lom_bind_alias(add_object({.name = "Fan2"}), 7), 0);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan7", "Fan2"}}));
}

TEST_F(AliasBinding, OfAnotherClassStandsBesideTheFormer) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    lom_bind_alias(add_object({.name = "Disk1", .class_name = "Disk"}), 7);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan7", "Fan1"}, {"a:Disk7", "Disk1"}}));
}

TEST_F(AliasBinding, NeedsAnObject) {
    EXPECT_EQ(lom_bind_alias(0, 7), -2001);
    EXPECT_EQ(lom_bind_alias(lom_name_to_handle("Fan2"), 7), -2009);
    EXPECT_EQ(lom_bind_alias(-1, 7), -2009);
    EXPECT_EQ(g_local_alias_hashtable, nullptr);
}

TEST_F(AliasBinding, KeepsTheFirst40CharactersOfTheKey) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1", .class_name = k31});
    EXPECT_EQ(lom_bind_alias(fan, 0x12345678), 0);
    EXPECT_EQ(aliases(), (Aliases{{"a:" + k31 + "1234567", "Fan1"}}));
}

TEST_F(AliasBinding, IsListedAmongTheObjects) {
    lom_bind_alias(add_object({.name = "Fan1"}), 0x1A);
    const std::string text =
        mox::test::stream_text_of([](FILE* stream) { lom_list_objects(stream); });
    EXPECT_NE(text.find("\nalias name: a:Fan1a, object name: Fan1\n"), std::string::npos) << text;
}

class AliasUnbinding : public mox::test::AliasFixture {};

TEST_F(AliasUnbinding, TakesTheAliasAwayAndNoOther) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_alias(fan, 0x1A);
    lom_bind_alias(fan, 0x1B);
    EXPECT_EQ(lom_unbind_alias(fan, 0x1A), 0);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan1b", "Fan1"}}));
}

TEST_F(AliasUnbinding, GoesByClassAndNumberWhoeverIsBound) {
    const OBJ_HANDLE first = add_object({.name = "Fan1"});
    lom_bind_alias(add_object({.name = "Fan2"}), 7);
    EXPECT_EQ(lom_unbind_alias(first, 7), 0);
    EXPECT_EQ(aliases(), Aliases{});
}

TEST_F(AliasUnbinding, OfAnUnknownNumberIsNoError) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_alias(fan, 7);
    EXPECT_EQ(lom_unbind_alias(fan, 8), 0);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan7", "Fan1"}}));
}

TEST_F(AliasUnbinding, BeforeTheFirstBindingIsNoError) {
    EXPECT_EQ(lom_unbind_alias(add_object({.name = "Fan1"}), 7), 0);
    EXPECT_EQ(g_local_alias_hashtable, nullptr);
}

TEST_F(AliasUnbinding, NeedsAnObject) {
    EXPECT_EQ(lom_unbind_alias(0, 7), -2001);
    EXPECT_EQ(lom_unbind_alias(lom_name_to_handle("Fan2"), 7), -2009);
}

TEST_F(AliasUnbinding, OfALongKeyCutsItAsTheBindingDid) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1", .class_name = k31});
    lom_bind_alias(fan, 0x12345678);
    EXPECT_EQ(lom_unbind_alias(fan, 0x12345678), 0);
    EXPECT_EQ(aliases(), Aliases{});
}

class AliasUnbindingOfAll : public mox::test::AliasFixture {};

TEST_F(AliasUnbindingOfAll, TakesEveryAliasOfTheObjectAndNoOther) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    for (guint32 number = 0; number < 20; ++number) lom_bind_alias(fan, number);
    lom_bind_alias(add_object({.name = "Fan10"}), 5);
    lom_bind_alias(add_object({.name = "Fan"}), 6);
    lom_unbind_all_alias(fan);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan5", "Fan10"}, {"a:Fan6", "Fan"}}));
}

TEST_F(AliasUnbindingOfAll, WorksForAnObjectThatIsGone) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_alias(fan, 7);
    mox::test::delete_object("Fan1");
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan7", "Fan1"}}));
    lom_unbind_all_alias(fan);
    EXPECT_EQ(aliases(), Aliases{});
}

TEST_F(AliasUnbindingOfAll, ComparesThe32FirstCharactersOfTheNames) {
    put_alias("a:A1", k32 + "x");
    put_alias("a:A2", k32);
    put_alias("a:A3", k31 + "x");
    put_alias("a:A4", k31);
    lom_unbind_all_alias(lom_name_to_handle((k32 + "y").c_str()));
    EXPECT_EQ(aliases(), (Aliases{{"a:A3", k31 + "x"}, {"a:A4", k31}}));
}

TEST_F(AliasUnbindingOfAll, OfNoObjectDoesNothing) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    lom_unbind_all_alias(0);
    lom_unbind_all_alias(-1);
    lom_unbind_all_alias(lom_name_to_handle("Fan2"));
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan7", "Fan1"}}));
}

TEST_F(AliasUnbindingOfAll, BeforeTheFirstBindingDoesNothing) {
    lom_unbind_all_alias(add_object({.name = "Fan1"}));
    EXPECT_EQ(g_local_alias_hashtable, nullptr);
}

class AliasLookup : public mox::test::AliasFixture {};

TEST_F(AliasLookup, FindsTheObject) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_alias(fan, 0x1A);
    EXPECT_EQ(lom_get_with_alias("Fan", 0x1A), fan);
}

TEST_F(AliasLookup, FindsTheNewerOfTwoWithTheSameNumber) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    const OBJ_HANDLE second = add_object({.name = "Fan2"});
    lom_bind_alias(second, 7);
    EXPECT_EQ(lom_get_with_alias("Fan", 7), second);
}

TEST_F(AliasLookup, BeforeTheFirstBindingFindsNothing) {
    add_object({.name = "Fan1"});
    EXPECT_EQ(lom_get_with_alias("Fan", 1), 0);
}

TEST_F(AliasLookup, OfAnUnknownClassOrNumberFindsNothing) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    EXPECT_EQ(lom_get_with_alias(nullptr, 7), 0);
    EXPECT_EQ(lom_get_with_alias("", 7), 0);
    EXPECT_EQ(lom_get_with_alias("Disk", 7), 0);
    EXPECT_EQ(lom_get_with_alias("Fan", 8), 0);
}

TEST_F(AliasLookup, AfterTheUnbindingFindsNothing) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_alias(fan, 7);
    lom_unbind_alias(fan, 7);
    EXPECT_EQ(lom_get_with_alias("Fan", 7), 0);
}

TEST_F(AliasLookup, FindsNothingForAnObjectThatIsGone) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    mox::test::delete_object("Fan1");
    EXPECT_EQ(lom_get_with_alias("Fan", 7), 0);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan7", "Fan1"}}));
}

TEST_F(AliasLookup, FindsAnObjectThatWasMadeAgain) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    mox::test::delete_object("Fan1");
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    EXPECT_EQ(lom_get_with_alias("Fan", 7), fan);
}

bool g_was_alias_lock_free = false;

TEST_F(AliasLookup, FetchesAnObjectThatIsNotKnownHereWithoutTheLock) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_alias(fan, 7);
    mox::test::delete_object("Fan1");
    g_was_alias_lock_free = false;
    lom_set_copy_func([](const gchar* name, gsize) -> OBJECT_HEAD_S* {
        g_was_alias_lock_free = g_mutex_trylock(&mox::alias_lock()) != FALSE;
        if (g_was_alias_lock_free) g_mutex_unlock(&mox::alias_lock());
        return mox::test::make_embryo({.name = name});
    });
    EXPECT_EQ(lom_get_with_alias("Fan", 7), fan);
    EXPECT_TRUE(g_was_alias_lock_free);
}

TEST_F(AliasLookup, TakesTheWholeNameOfAClassOf31Characters) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1", .class_name = k31});
    lom_bind_alias(fan, 0x12345678);
    EXPECT_EQ(lom_get_with_alias(k31.c_str(), 0x12345678), fan);
}

TEST_F(AliasLookup, CannotTellNumbersApartThatDifferOnlyBehindTheCut) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1", .class_name = k31});
    lom_bind_alias(fan, 0x12345678);
    EXPECT_EQ(lom_get_with_alias(k31.c_str(), 0x12345679), fan);
    EXPECT_EQ(lom_get_with_alias(k31.c_str(), 0x12345688), 0);
}

TEST_F(AliasLookup, TakesThe32FirstCharactersOfTheClass) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    put_alias("a:" + k32 + "7", "Fan1");
    EXPECT_EQ(lom_get_with_alias(k40.c_str(), 7), fan);
    EXPECT_EQ(lom_get_with_alias(k32.c_str(), 7), fan);
    EXPECT_EQ(lom_get_with_alias(k31.c_str(), 7), 0);
}

TEST_F(AliasLookup, OfAClassOf40CharactersFindsNothingThatWasBound) {
    lom_bind_alias(add_object({.name = "Fan1", .class_name = k40}), 7);
    EXPECT_EQ(aliases(), (Aliases{{"a:" + k31 + "7", "Fan1"}}));
    EXPECT_EQ(lom_get_with_alias(k40.c_str(), 7), 0);
}

class AliasData : public mox::test::AliasFixture {
protected:
    int data = 0;
};

TEST_F(AliasData, IsTheDataBoundToTheObject) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_data(fan, &data, nullptr);
    lom_bind_alias(fan, 7);
    EXPECT_EQ(lom_get_data_with_alias("Fan", 7), &data);
}

TEST_F(AliasData, OfAnObjectWithoutDataIsNull) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    EXPECT_EQ(lom_get_data_with_alias("Fan", 7), nullptr);
}

TEST_F(AliasData, IsNullWhenNothingIsFound) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_data(fan, &data, nullptr);
    EXPECT_EQ(lom_get_data_with_alias("Fan", 7), nullptr);
    lom_bind_alias(fan, 7);
    EXPECT_EQ(lom_get_data_with_alias(nullptr, 7), nullptr);
    EXPECT_EQ(lom_get_data_with_alias("Fan", 8), nullptr);
    mox::test::delete_object("Fan1");
    EXPECT_EQ(lom_get_data_with_alias("Fan", 7), nullptr);
}

}  // namespace
