// Building the classes and properties of the tree, and the calls that come to nothing.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "tree_fixture.hpp"

namespace {

namespace space = mox::fake::space;
using mox::test::become_member;
using mox::test::error_line;
using mox::test::field_text;
using mox::test::logged_by;
using mox::test::TypeField;

const std::string kLongName = "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234567";
const std::string kCutName = "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234";

using ClassTree = mox::test::TreeFixture;
using TreeClass = mox::test::TreeFixture;
using TreeProperty = mox::test::TreeFixture;
using BuildingCall = mox::test::TreeFixture;

TEST_F(ClassTree, IsOneBlockInThePool) {
    clt_create_class_tree(3);
    ASSERT_NE(g_class_tree, nullptr);
    EXPECT_EQ(g_class_tree->size, 3U);
    EXPECT_EQ(space::size_of(g_class_tree), sizeof(gsize) + 3 * sizeof(DEFINED_CLASS_NODE_S));
    EXPECT_EQ(space::live_blocks(), 1U);
    EXPECT_EQ(clt_get_class_tree_addr(), g_class_tree);
}

TEST_F(ClassTree, BeginsWithEmptyClasses) {
    clt_create_class_tree(1);
    EXPECT_EQ(class_at(0).name, nullptr);
    EXPECT_EQ(class_at(0).id, 0U);
    EXPECT_EQ(class_at(0).property_array, nullptr);
    EXPECT_EQ(class_at(0).method_array, nullptr);
    EXPECT_EQ(class_at(0).children, nullptr);
    EXPECT_EQ(class_at(0).next, nullptr);
}

TEST_F(ClassTree, MadeAgainReplacesTheOldOneAndLeavesItInThePool) {
    clt_create_class_tree(1);
    const DEFINED_CLASS_ARRAY_S* old = g_class_tree;
    clt_create_class_tree(2);
    EXPECT_NE(g_class_tree, old);
    EXPECT_EQ(g_class_tree->size, 2U);
    EXPECT_TRUE(space::is_live(old));
}

TEST_F(ClassTree, WithoutRoomInThePoolIsNone) {
    clt_create_class_tree(1);
    space::fail_allocation(1);
    logged_by([] { clt_create_class_tree(2); });
    EXPECT_EQ(clt_get_class_tree_addr(), nullptr);
}

TEST_F(ClassTree, OfMoreClassesThanThereIsMemoryForIsNone) {
    logged_by([] { clt_create_class_tree(G_MAXSIZE); });
    EXPECT_EQ(clt_get_class_tree_addr(), nullptr);
    logged_by([] { clt_create_class_tree(G_MAXSIZE / sizeof(DEFINED_CLASS_NODE_S) + 1); });
    EXPECT_EQ(clt_get_class_tree_addr(), nullptr);
}

TEST_F(TreeClass, HasItsNameAndIdAndIsRegistered) {
    clt_create_class_tree(2);
    CLS_HANDLE fan = clt_init_class("Fan", 1, 65535);
    EXPECT_STREQ(class_at(1).name, "Fan");
    EXPECT_EQ(class_at(1).id, 65535U);
    EXPECT_TRUE(space::is_live(class_at(1).name));
    EXPECT_EQ(class_at(0).name, nullptr);
    ASSERT_NE(fan, nullptr);
    EXPECT_EQ(cls_get_class("Fan"), fan);
}

TEST_F(TreeClass, IsInitialisedWithoutPropertiesAndMethods) {
    clt_create_class_tree(1);
    clt_create_property(0, 1);
    clt_create_method(0, 1);
    clt_init_class("Fan", 0, 1);
    EXPECT_EQ(class_at(0).property_array, nullptr);
    EXPECT_EQ(class_at(0).method_array, nullptr);
}

TEST_F(TreeClass, KeepsTheLinksThatTheLoaderSet) {
    clt_create_class_tree(2);
    class_at(0).children = &class_at(1);
    class_at(0).next = &class_at(1);
    clt_init_class("Fan", 0, 1);
    clt_create_property(0, 1);
    clt_create_method(0, 1);
    EXPECT_EQ(class_at(0).children, &class_at(1));
    EXPECT_EQ(class_at(0).next, &class_at(1));
}

TEST_F(TreeClass, OfALongNameIsStoredCutTo31Characters) {
    clt_create_class_tree(1);
    clt_init_class(kLongName.c_str(), 0, 1);
    EXPECT_EQ(class_at(0).name, kCutName);
    EXPECT_EQ(space::size_of(class_at(0).name), 32U);
}

TEST_F(TreeClass, OfA31CharacterNameIsStoredWhole) {
    clt_create_class_tree(1);
    clt_init_class(kCutName.c_str(), 0, 1);
    EXPECT_EQ(class_at(0).name, kCutName);
}

TEST_F(TreeClass, OfAKnownNameIsFilledButGivesNoHandle) {
    clt_create_class_tree(2);
    CLS_HANDLE first = clt_init_class("Fan", 0, 1);
    CLS_HANDLE second = first;
    EXPECT_EQ(logged_by([&] { second = clt_init_class("Fan", 1, 2); }),
              error_line("duplicated class \"Fan\" in class profile.\n"));
    EXPECT_EQ(second, nullptr);
    EXPECT_STREQ(class_at(1).name, "Fan");
    EXPECT_EQ(class_at(1).id, 2U);
}

TEST_F(TreeClass, WithoutANameIsFilledButGivesNoHandle) {
    clt_create_class_tree(1);
    EXPECT_EQ(clt_init_class(nullptr, 0, 9), nullptr);
    EXPECT_EQ(class_at(0).name, nullptr);
    EXPECT_EQ(class_at(0).id, 9U);
}

TEST_F(TreeClass, WhoseNameFindsNoRoomHasNone) {
    clt_create_class_tree(1);
    space::fail_allocation(1);
    CLS_HANDLE fan = nullptr;
    logged_by([&] { fan = clt_init_class("Fan", 0, 9); });
    EXPECT_EQ(class_at(0).name, nullptr);
    EXPECT_EQ(class_at(0).id, 9U);
    EXPECT_EQ(cls_get_class("Fan"), fan);
    EXPECT_NE(fan, nullptr);
}

TEST_F(TreeClass, BeyondTheTreeIsNotRegistered) {
    EXPECT_EQ(clt_init_class("Fan", 0, 1), nullptr) << "there is no tree";
    clt_create_class_tree(1);
    EXPECT_EQ(clt_init_class("Fan", 1, 1), nullptr);
    EXPECT_EQ(cls_get_class("Fan"), nullptr);
    EXPECT_EQ(class_at(0).name, nullptr);
}

TEST_F(TreeProperty, LiesInItsClasssArray) {
    clt_create_class_tree(1);
    clt_create_property(0, 4);
    const DEFINED_PROPERTY_ARRAY_S* array = class_at(0).property_array;
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->size, 4U);
    EXPECT_EQ(space::size_of(array), sizeof(gsize) + 4 * sizeof(DEFINED_PROPERTY_NODE_S));
}

TEST_F(TreeProperty, HasAllItsFields) {
    make_fan(2);
    clt_init_property(0, 1, 7, "Speed", TypeField("u"), 2, 3);
    const DEFINED_PROPERTY_NODE_S& speed = class_at(0).property_array->property[1];
    EXPECT_STREQ(speed.name, "Speed");
    EXPECT_TRUE(space::is_live(speed.name));
    EXPECT_EQ(field_text(speed.type), std::string("u\0\0\0\0\0", 6));
    EXPECT_EQ(speed.id, 7U);
    EXPECT_EQ(speed.exported, 2U);
    EXPECT_EQ(speed.key, 3U);
    EXPECT_EQ(class_at(0).property_array->property[0].name, nullptr);
}

TEST_F(TreeProperty, TakesItsTypeAs6RawBytes) {
    make_fan(2);
    clt_init_property(0, 0, 1, "A", TypeField("abcdefgh"), 0, 0);
    EXPECT_EQ(field_text(class_at(0).property_array->property[0].type), "abcdef");
    const gchar marked[PUB_TYPE_LENGTH] = {'s', '\0', '\0', 'p', '\0', 'x'};
    clt_init_property(0, 1, 2, "B", marked, 0, 0);
    EXPECT_EQ(field_text(class_at(0).property_array->property[1].type),
              std::string(marked, sizeof(marked)));
}

TEST_F(TreeProperty, OfALongNameIsStoredCutTo31Characters) {
    make_fan(1);
    clt_init_property(0, 0, 1, kLongName.c_str(), TypeField("u"), 0, 0);
    EXPECT_EQ(class_at(0).property_array->property[0].name, kCutName);
}

TEST_F(TreeProperty, WithoutATypeIsLoggedAndFilledOtherwise) {
    make_fan(1);
    clt_init_property(0, 0, 7, "Speed", TypeField("u"), 1, 1);
    EXPECT_THAT(logged_by([] { clt_init_property(0, 0, 7, "Speed", nullptr, 1, 1); }),
                ::testing::MatchesRegex(".*ERROR:.*\\[classtree\\]\\[[0-9]+\\]: memmove_s failed "
                                        "ret\\([0-9]+\\)\\.\n"));
    const DEFINED_PROPERTY_NODE_S& speed = class_at(0).property_array->property[0];
    EXPECT_STREQ(speed.name, "Speed");
    EXPECT_EQ(field_text(speed.type), std::string(6, '\0'));
    EXPECT_EQ(speed.id, 7U);
    EXPECT_EQ(speed.exported, 1U);
    EXPECT_EQ(speed.key, 1U);
}

TEST_F(TreeProperty, WhoseNameFindsNoRoomHasNone) {
    make_fan(1);
    space::fail_allocation(1);
    logged_by([] { clt_init_property(0, 0, 7, "Speed", TypeField("u"), 0, 0); });
    EXPECT_EQ(class_at(0).property_array->property[0].name, nullptr);
    EXPECT_EQ(class_at(0).property_array->property[0].id, 7U);
}

TEST_F(TreeProperty, ArrayWithoutRoomIsNone) {
    make_fan(1);
    space::fail_allocation(1);
    logged_by([] { clt_create_property(0, 2); });
    EXPECT_EQ(class_at(0).property_array, nullptr);
}

TEST_F(TreeProperty, ArrayOfMorePropertiesThanThereIsMemoryForIsNone) {
    make_fan(1);
    logged_by([] { clt_create_property(0, G_MAXUINT32); });
    EXPECT_EQ(class_at(0).property_array, nullptr);
}

using Calls = std::vector<std::function<void()>>;

// Every building call but the first, for the places of the given indices.
Calls calls_for(guint32 class_index, guint32 index, guint32 inner_index) {
    return {
        [=] { clt_init_class("Other", class_index, 9); },
        [=] { clt_create_property(class_index, 1); },
        [=] { clt_init_property(class_index, index, 9, "Other", TypeField("x"), 9, 9); },
        [=] { clt_create_method(class_index, 1); },
        [=] { clt_init_method(class_index, index, 9, "Other"); },
        [=] { clt_create_method_para(class_index, index, INPUT_PARA, 1); },
        [=] { clt_init_method_para(class_index, index, INPUT_PARA, inner_index, TypeField("x")); },
        [=] { clt_create_method_property(class_index, index, 1); },
        [=] {
            guint8 byte = 9;
            clt_init_method_property(class_index, index, inner_index, "Other", "y", 1, &byte);
        },
    };
}

void expect_no_effect(const Calls& calls) {
    const gsize allocations = space::allocations() + space::failed_allocations();
    EXPECT_EQ(logged_by([&] {
                  for (const auto& call : calls) call();
              }),
              "");
    EXPECT_EQ(space::allocations() + space::failed_allocations(), allocations);
    EXPECT_EQ(cls_get_class("Other"), nullptr);
}

TEST_F(BuildingCall, WithoutATreeDoesNothing) {
    expect_no_effect(calls_for(0, 0, 0));
}

TEST_F(BuildingCall, ForAClassBeyondTheTreeDoesNothing) {
    make_fan(1);
    expect_no_effect(calls_for(1, 0, 0));
    expect_no_effect(calls_for(G_MAXUINT32, 0, 0));
}

TEST_F(BuildingCall, ForAnArrayThatIsNotThereDoesNothing) {
    clt_create_class_tree(1);
    Calls calls = calls_for(0, 0, 0);
    expect_no_effect({calls[2], calls[4], calls[5], calls[6], calls[7], calls[8]});
    clt_create_method(0, 1);
    expect_no_effect({calls[6], calls[8]});
}

TEST_F(BuildingCall, BeyondItsArrayDoesNothing) {
    make_fan(1);
    Calls calls = calls_for(0, 2, 0);
    expect_no_effect({calls[2], calls[4], calls[5], calls[6], calls[7], calls[8]});
    clt_create_method_para(0, 0, INPUT_PARA, 1);
    clt_create_method_property(0, 0, 1);
    calls = calls_for(0, 0, 1);
    expect_no_effect({calls[6], calls[8]});
}

TEST_F(BuildingCall, InAProcessThatIsNotTheOwnerLeavesTheTreeAlone) {
    make_fan(1);
    clt_init_property(0, 0, 7, "Speed", TypeField("u"), 0, 0);
    clt_create_method_para(0, 0, INPUT_PARA, 1);
    clt_create_method_property(0, 0, 1);
    const DEFINED_CLASS_ARRAY_S* tree = g_class_tree;
    const DEFINED_CLASS_NODE_S fan = class_at(0);
    const DEFINED_METHOD_NODE_S start = method_at(0, 0);
    become_member();
    expect_no_effect(calls_for(0, 0, 0));
    clt_create_class_tree(5);
    EXPECT_EQ(clt_get_class_tree_addr(), tree);
    EXPECT_STREQ(class_at(0).name, "Fan");
    EXPECT_EQ(class_at(0).property_array, fan.property_array);
    EXPECT_EQ(class_at(0).method_array, fan.method_array);
    EXPECT_STREQ(class_at(0).property_array->property[0].name, "Speed");
    EXPECT_STREQ(method_at(0, 0).name, "Start");
    EXPECT_EQ(method_at(0, 0).para[INPUT_PARA], start.para[INPUT_PARA]);
    EXPECT_EQ(method_at(0, 0).property_arr, start.property_arr);
    EXPECT_EQ(start.property_arr->property[0].name, nullptr);
    EXPECT_EQ(field_text(start.para[INPUT_PARA]->para[0].type), std::string(6, '\0'));
}

}  // namespace
