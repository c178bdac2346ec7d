// The classes below a class.
#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "tree_fixture.hpp"

namespace {

namespace space = mox::fake::space;

using Names = std::vector<std::string>;

Names below(const gchar* class_name) {
    GSList untouched = {};
    GSList* list = &untouched;
    EXPECT_EQ(clt_get_all_children(class_name, &list), 0);
    Names names;
    for (const GSList* item = list; item != nullptr; item = item->next) {
        names.emplace_back(static_cast<const gchar*>(item->data));
    }
    g_slist_free(list);
    return names;
}

class Descendants : public mox::test::TreeFixture {
protected:
    // Makes classes of these names, in this order, without links.
    static void make(const Names& names) {
        clt_create_class_tree(names.size());
        guint32 index = 0;
        for (const std::string& name : names) {
            clt_init_class(name.c_str(), index++, 1);
        }
    }
    static DEFINED_CLASS_NODE_S& node(const std::string& name) {
        gsize index = 0;
        while (class_at(index).name != name) ++index;
        return class_at(index);
    }
    // Puts classes below another one, in this order.
    static void link(const std::string& parent, const Names& children) {
        DEFINED_CLASS_NODE_S** place = &node(parent).children;
        for (const std::string& child : children) {
            *place = &node(child);
            place = &node(child).next;
        }
    }
};

TEST_F(Descendants, AreListedBehindTheClassLastChildFirst) {
    make({"A1", "B", "R", "A"});
    link("R", {"A", "B"});
    link("A", {"A1"});
    EXPECT_EQ(below("R"), (Names{"R", "B", "A", "A1"}));
}

TEST_F(Descendants, OfEveryLevelFollowTheirOwnParent) {
    make({"R", "A", "B", "C", "A1", "A2", "B1", "A11", "A12"});
    link("R", {"A", "B", "C"});
    link("A", {"A1", "A2"});
    link("B", {"B1"});
    link("A1", {"A11", "A12"});
    EXPECT_EQ(below("R"), (Names{"R", "C", "B", "B1", "A", "A2", "A1", "A12", "A11"}));
    EXPECT_EQ(below("A"), (Names{"A", "A2", "A1", "A12", "A11"}))
        << "siblings of the class itself are none of them";
}

TEST_F(Descendants, OfALeafAreTheLeafAlone) {
    make({"R", "A", "B"});
    link("R", {"A", "B"});
    EXPECT_EQ(below("A"), Names{"A"});
}

TEST_F(Descendants, OfAnUnknownNameAreThoseOfTheLastClass) {
    make({"A", "B", "Last", "C"});
    link("C", {"A", "B"});
    EXPECT_EQ(below("Nobody"), (Names{"C", "B", "A"}));
    EXPECT_EQ(below(""), (Names{"C", "B", "A"}));
}

TEST_F(Descendants, AreThoseOfTheFirstClassOfItsName) {
    clt_create_class_tree(3);
    for (guint32 index = 0; index < 2; ++index) {
        mox::test::logged_by([&] { clt_init_class("A", index, 1); });
    }
    clt_init_class("B", 2, 1);
    class_at(0).children = &class_at(2);
    EXPECT_EQ(below("A"), (Names{"A", "B"}));
}

TEST_F(Descendants, AreTheTreesOwnStrings) {
    make({"A"});
    GSList* list = nullptr;
    ASSERT_EQ(clt_get_all_children("A", &list), 0);
    EXPECT_EQ(list->data, class_at(0).name);
    g_slist_free(list);
    EXPECT_TRUE(space::is_live(class_at(0).name));
}

TEST_F(Descendants, WithoutATreeOrInAnEmptyOneAreNone) {
    EXPECT_EQ(below("A"), Names{});
    clt_create_class_tree(0);
    EXPECT_EQ(below("A"), Names{});
}

TEST_F(Descendants, NeedANameAndAReceiver) {
    make({"A"});
    GSList* list = nullptr;
    EXPECT_EQ(clt_get_all_children(nullptr, &list), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(clt_get_all_children("A", nullptr), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(list, nullptr);
}

TEST_F(Descendants, WhoseNameFoundNoRoomAreLeftOut) {
    make({"R", "A", "A1", "B"});
    link("R", {"A", "B"});
    link("A", {"A1"});
    node("A").name = nullptr;
    EXPECT_EQ(below("R"), (Names{"R", "B", "A1"}));
    EXPECT_EQ(below("A1"), Names{"A1"}) << "a name is sought past the one that is missing";
}

TEST_F(Descendants, AreListedOnceWhenLinksLeadBack) {
    make({"R", "A", "B"});
    link("R", {"A", "B"});
    node("B").next = &node("A");
    node("A").children = &node("R");
    EXPECT_EQ(below("R"), (Names{"R", "B", "A"}));
    node("R").children = &node("R");
    EXPECT_EQ(below("R"), Names{"R"});
}

TEST_F(Descendants, MayLieAsDeepAsThereAreClasses) {
    constexpr gsize kDepth = 100000;
    clt_create_class_tree(kDepth);
    static gchar name[] = "Deep";
    static gchar root[] = "Root";
    for (gsize index = 0; index < kDepth; ++index) {
        class_at(index).name = index == 0 ? root : name;
        class_at(index).children = index + 1 < kDepth ? &class_at(index + 1) : nullptr;
    }
    EXPECT_EQ(below("Root").size(), kDepth);
}

TEST_F(Descendants, AreFoundByTheWalkerInFrontOfWhatTheListHas) {
    make({"R", "A"});
    link("R", {"A"});
    static gchar last[] = "last";
    GSList* list = g_slist_append(nullptr, last);
    _traverse_specific_tree(&node("R"), &list);
    ASSERT_EQ(g_slist_length(list), 3U);
    EXPECT_STREQ(static_cast<const gchar*>(g_slist_nth_data(list, 0)), "R");
    EXPECT_STREQ(static_cast<const gchar*>(g_slist_nth_data(list, 1)), "A");
    EXPECT_EQ(g_slist_nth_data(list, 2), last);
    g_slist_free(list);
}

}  // namespace
