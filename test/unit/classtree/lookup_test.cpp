// Reaching the tree, and its classes and properties by id and by name.
#include <gtest/gtest.h>

#include "tree_fixture.hpp"

namespace {

namespace space = mox::fake::space;
using mox::test::log_line;
using mox::test::logged_by;
using mox::test::TypeField;

using TreeAddress = mox::test::TreeFixture;
using ClassList = mox::test::TreeFixture;
using ClassById = mox::test::TreeFixture;
using PropertyById = mox::test::TreeFixture;
using MethodById = mox::test::TreeFixture;
using PropertiesOfAClass = mox::test::TreeFixture;

TEST_F(TreeAddress, IsNullBeforeThereIsATree) {
    EXPECT_EQ(clt_get_class_tree_addr(), nullptr);
}

TEST_F(TreeAddress, IsInstalledAsItIsGiven) {
    make_fan();
    gpointer const address = clt_get_class_tree_addr();
    clt_set_tree_addr(nullptr);
    EXPECT_EQ(clt_get_class_tree_addr(), nullptr);
    EXPECT_EQ(clt_get_class_by_id(3), nullptr);
    mox::test::become_member();
    clt_set_tree_addr(address);
    EXPECT_EQ(clt_get_class_tree_addr(), address);
    EXPECT_EQ(clt_get_class_by_id(3), &class_at(0));
}

TEST_F(ClassList, IsTheTreesOwn) {
    clt_create_class_tree(2);
    gint32 count = 0;
    DEFINED_CLASS_NODE_S* first = nullptr;
    clt_get_class_tree(&count, &first);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(first, &class_at(0));
}

TEST_F(ClassList, OfAnEmptyTreeHasNoClass) {
    clt_create_class_tree(0);
    gint32 count = 7;
    DEFINED_CLASS_NODE_S* first = nullptr;
    clt_get_class_tree(&count, &first);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(first, g_class_tree->classes);
}

TEST_F(ClassList, WithoutATreeIsEmpty) {
    gint32 count = 7;
    DEFINED_CLASS_NODE_S node = {};
    DEFINED_CLASS_NODE_S* first = &node;
    clt_get_class_tree(&count, &first);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(first, nullptr);
}

TEST_F(ClassList, IsGivenOnlyToThoseWhoAsk) {
    clt_create_class_tree(2);
    gint32 count = 0;
    DEFINED_CLASS_NODE_S* first = nullptr;
    clt_get_class_tree(nullptr, &first);
    clt_get_class_tree(&count, nullptr);
    clt_get_class_tree(nullptr, nullptr);
    EXPECT_EQ(first, &class_at(0));
    EXPECT_EQ(count, 2);
}

TEST_F(ClassById, IsTheFirstWithThatId) {
    clt_create_class_tree(3);
    clt_init_class("Fan", 0, 5);
    clt_init_class("Disk", 1, 8);
    clt_init_class("Board", 2, 8);
    EXPECT_EQ(clt_get_class_by_id(5), &class_at(0));
    EXPECT_EQ(clt_get_class_by_id(8), &class_at(1));
    EXPECT_EQ(clt_get_class_by_id(6), nullptr);
}

TEST_F(ClassById, IsNotFoundWithoutATreeOrInAnEmptyOne) {
    EXPECT_EQ(clt_get_class_by_id(0), nullptr);
    clt_create_class_tree(0);
    EXPECT_EQ(clt_get_class_by_id(0), nullptr);
}

TEST_F(PropertyById, IsTheFirstWithThatId) {
    make_fan(3);
    clt_init_property(0, 0, 4, "Speed", TypeField("u"), 0, 0);
    clt_init_property(0, 1, 6, "Noise", TypeField("u"), 0, 0);
    clt_init_property(0, 2, 6, "Label", TypeField("s"), 0, 0);
    EXPECT_EQ(clt_get_property_by_id(&class_at(0), 4), &class_at(0).property_array->property[0]);
    EXPECT_EQ(clt_get_property_by_id(&class_at(0), 6), &class_at(0).property_array->property[1]);
    EXPECT_EQ(clt_get_property_by_id(&class_at(0), 5), nullptr);
}

TEST_F(PropertyById, OfAClassWithoutAnArrayIsLogged) {
    clt_create_class_tree(1);
    clt_init_class("Fan", 0, 1);
    EXPECT_EQ(logged_by([] { EXPECT_EQ(clt_get_property_by_id(&class_at(0), 0), nullptr); }),
              log_line("class Fan property list not found.\n"));
}

TEST_F(PropertyById, OfAClassWithAnEmptyArrayIsNotFoundInSilence) {
    make_fan(0);
    EXPECT_EQ(logged_by([] { EXPECT_EQ(clt_get_property_by_id(&class_at(0), 0), nullptr); }), "");
}

TEST_F(PropertyById, OfNoClassIsNotFoundInSilence) {
    EXPECT_EQ(logged_by([] { EXPECT_EQ(clt_get_property_by_id(nullptr, 0), nullptr); }), "");
}

TEST_F(MethodById, IsTheFirstWithThatId) {
    make_fan();
    clt_init_method(0, 1, 1, "Stop");
    EXPECT_EQ(clt_get_method_by_id(&class_at(0), 1), &method_at(0, 0));
    clt_init_method(0, 1, 2, "Stop");
    EXPECT_EQ(clt_get_method_by_id(&class_at(0), 2), &method_at(0, 1));
    EXPECT_EQ(clt_get_method_by_id(&class_at(0), 3), nullptr);
}

TEST_F(MethodById, OfAClassWithoutAnArrayIsLogged) {
    clt_create_class_tree(1);
    clt_init_class("Fan", 0, 1);
    EXPECT_EQ(logged_by([] { EXPECT_EQ(clt_get_method_by_id(&class_at(0), 0), nullptr); }),
              log_line("class Fan method list not found.\n"));
}

TEST_F(MethodById, OfAClassWithAnEmptyArrayIsNotFoundInSilence) {
    clt_create_class_tree(1);
    clt_init_class("Fan", 0, 1);
    clt_create_method(0, 0);
    EXPECT_EQ(logged_by([] { EXPECT_EQ(clt_get_method_by_id(&class_at(0), 0), nullptr); }), "");
}

TEST_F(MethodById, OfNoClassIsNotFoundInSilence) {
    EXPECT_EQ(logged_by([] { EXPECT_EQ(clt_get_method_by_id(nullptr, 0), nullptr); }), "");
}

// What clt_get_property_by_class answers, with receivers that show whether they were written.
struct Listed {
    explicit Listed(const gchar* class_name) {
        result = clt_get_property_by_class(class_name, &count, &first);
    }
    DEFINED_PROPERTY_NODE_S untouched = {};
    guint32 count = 77;
    DEFINED_PROPERTY_NODE_S* first = &untouched;
    gint32 result = 0;
};

TEST_F(PropertiesOfAClass, AreReadInPlace) {
    make_fan(2);
    const Listed listed("Fan");
    EXPECT_EQ(listed.result, 0);
    EXPECT_EQ(listed.count, 2U);
    EXPECT_EQ(listed.first, class_at(0).property_array->property);
}

TEST_F(PropertiesOfAClass, AreThoseOfTheFirstOfItsName) {
    clt_create_class_tree(2);
    clt_init_class("Fan", 0, 1);
    logged_by([] { clt_init_class("Fan", 1, 2); });
    clt_create_property(0, 1);
    clt_create_property(1, 2);
    EXPECT_EQ(Listed("Fan").count, 1U);
}

TEST_F(PropertiesOfAClass, WithAnEmptyArrayAreAnEmptyListInPlace) {
    make_fan(0);
    const Listed listed("Fan");
    EXPECT_EQ(listed.result, 0);
    EXPECT_EQ(listed.count, 0U);
    EXPECT_EQ(listed.first, class_at(0).property_array->property);
}

TEST_F(PropertiesOfAClass, WithoutAnArrayAreNone) {
    clt_create_class_tree(1);
    clt_init_class("Fan", 0, 1);
    const Listed listed("Fan");
    EXPECT_EQ(listed.result, 0);
    EXPECT_EQ(listed.count, 0U);
    EXPECT_EQ(listed.first, nullptr);
}

void expect_not_listed(const gchar* class_name) {
    const Listed listed(class_name);
    EXPECT_EQ(listed.result, -1);
    EXPECT_EQ(listed.count, 77U);
    EXPECT_EQ(listed.first, &listed.untouched);
}

TEST_F(PropertiesOfAClass, ThatIsNotThereAreMinusOne) {
    expect_not_listed("Fan");
    clt_create_class_tree(0);
    expect_not_listed("Fan");
    make_fan(1);
    expect_not_listed("Disk");
}

TEST_F(PropertiesOfAClass, WithoutANameAreMinusOneEvenWhenAClassHasNone) {
    clt_create_class_tree(1);
    clt_create_property(0, 1);
    expect_not_listed(nullptr);
    expect_not_listed("Fan");
}

TEST_F(PropertiesOfAClass, NeedBothReceivers) {
    make_fan(1);
    guint32 count = 0;
    DEFINED_PROPERTY_NODE_S* first = nullptr;
    EXPECT_EQ(clt_get_property_by_class("Fan", nullptr, &first), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(clt_get_property_by_class("Fan", &count, nullptr), MOX_ERR_BAD_ARGUMENT);
}

}  // namespace
