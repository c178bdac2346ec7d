// A method's parameter types and constant properties, by the names of class, method and property.
#include <gtest/gtest.h>

#include <vector>

#include "tree_fixture.hpp"

namespace {

namespace space = mox::fake::space;
using mox::test::error_line;
using mox::test::logged_by;
using mox::test::TypeField;

using Types = std::vector<std::string>;

// The types that are given, or the code and whether the receiver was left alone.
Types parameters(const gchar* class_name, const gchar* method_name, PARA_TYPE direction) {
    GSList untouched = {};
    GSList* list = &untouched;
    const gint32 result = clt_get_paralist(class_name, method_name, direction, &list);
    if (result != 0) return {std::to_string(result), list == &untouched ? "untouched" : "written"};
    Types types;
    for (const GSList* item = list; item != nullptr; item = item->next) {
        auto* const type = static_cast<GVariantType*>(item->data);
        types.emplace_back(g_variant_type_peek_string(type),
                           g_variant_type_get_string_length(type));
        g_variant_type_free(type);
    }
    g_slist_free(list);
    return types;
}

class ParameterTypes : public mox::test::TreeFixture {
protected:
    void SetUp() override {
        mox::test::TreeFixture::SetUp();
        clt_create_class_tree(2);
        clt_init_class("Disk", 0, 1);
        clt_init_class("Fan", 1, 2);
        clt_create_method(1, 2);
        clt_init_method(1, 0, 1, "Start");
        clt_init_method(1, 1, 2, "Stop");
    }
    static void give(PARA_TYPE direction, const std::vector<const char*>& types) {
        clt_create_method_para(1, 1, direction, static_cast<guint32>(types.size()));
        guint32 index = 0;
        for (const char* type : types) {
            clt_init_method_para(1, 1, direction, index++, TypeField(type));
        }
    }
};

TEST_F(ParameterTypes, AreListedInTheirOrder) {
    give(INPUT_PARA, {"u", "as", "(si)", "ay"});
    give(OUTPUT_PARA, {"d", "s"});
    EXPECT_EQ(parameters("Fan", "Stop", INPUT_PARA), (Types{"u", "as", "(si)", "ay"}));
    EXPECT_EQ(parameters("Fan", "Stop", OUTPUT_PARA), (Types{"d", "s"}));
}

TEST_F(ParameterTypes, AreAnEmptyListForAMethodWithoutAny) {
    EXPECT_EQ(parameters("Fan", "Start", INPUT_PARA), Types{});
    give(OUTPUT_PARA, {});
    EXPECT_EQ(parameters("Fan", "Stop", INPUT_PARA), Types{});
    EXPECT_EQ(parameters("Fan", "Stop", OUTPUT_PARA), Types{});
}

TEST_F(ParameterTypes, OfSixCharactersNeedNoTerminator) {
    give(INPUT_PARA, {"a(uss)", "aaaaay"});
    EXPECT_EQ(parameters("Fan", "Stop", INPUT_PARA), (Types{"a(uss)", "aaaaay"}));
}

TEST_F(ParameterTypes, AreRefusedWhenOneIsNone) {
    give(INPUT_PARA, {"u", "qqqqqq", "s"});
    EXPECT_EQ(logged_by([] {
                  EXPECT_EQ(parameters("Fan", "Stop", INPUT_PARA), (Types{"-2000", "untouched"}));
              }),
              error_line("parameter 1 of method Stop has no valid type.\n"));
    give(INPUT_PARA, {""});
    logged_by([] {
        EXPECT_EQ(parameters("Fan", "Stop", INPUT_PARA), (Types{"-2000", "untouched"}));
    });
}

TEST_F(ParameterTypes, NeedAReceiverAndADirection) {
    EXPECT_EQ(clt_get_paralist("Fan", "Stop", INPUT_PARA, nullptr), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(parameters("Fan", "Stop", PARA_DIRECTIONS), (Types{"-2001", "untouched"}));
}

TEST_F(ParameterTypes, OfAnUnknownClassOrOneWithoutMethodsAreRefusedAndLogged) {
    EXPECT_EQ(logged_by([] {
                  EXPECT_EQ(parameters("Board", "Stop", INPUT_PARA), (Types{"-2003", "untouched"}));
              }),
              error_line("class Board not found method list.\n"));
    EXPECT_EQ(logged_by([] {
                  EXPECT_EQ(parameters("Disk", "Stop", INPUT_PARA), (Types{"-2003", "untouched"}));
              }),
              error_line("class Disk not found method list.\n"));
}

TEST_F(ParameterTypes, OfNoClassOrWithoutATreeAreRefusedInSilence) {
    EXPECT_EQ(logged_by([] {
                  EXPECT_EQ(parameters(nullptr, "Stop", INPUT_PARA), (Types{"-2003", "untouched"}));
                  clt_set_tree_addr(nullptr);
                  EXPECT_EQ(parameters("Fan", "Stop", INPUT_PARA), (Types{"-2003", "untouched"}));
              }),
              "");
}

TEST_F(ParameterTypes, OfAnUnknownMethodAreRefusedAndLogged) {
    EXPECT_EQ(logged_by([] {
                  EXPECT_EQ(parameters("Fan", "Turn", INPUT_PARA), (Types{"-2005", "untouched"}));
              }),
              error_line("method Turn not found.\n"));
    EXPECT_EQ(logged_by([] {
                  EXPECT_EQ(parameters("Fan", nullptr, INPUT_PARA), (Types{"-2005", "untouched"}));
              }),
              "");
}

TEST_F(ParameterTypes, AreThoseOfTheFirstMethodOfItsName) {
    give(INPUT_PARA, {"u"});
    clt_init_method(1, 0, 1, "Stop");
    EXPECT_EQ(parameters("Fan", "Stop", INPUT_PARA), Types{});
}

TEST_F(ParameterTypes, AreFoundPastNamesThatFoundNoRoom) {
    give(INPUT_PARA, {"u"});
    clt_init_method(1, 0, 1, nullptr);
    class_at(0).name = nullptr;
    EXPECT_EQ(parameters("Fan", "Stop", INPUT_PARA), Types{"u"});
}

class MethodConstant : public mox::test::TreeFixture {
protected:
    void SetUp() override {
        mox::test::TreeFixture::SetUp();
        make_fan();
        clt_create_method_property(0, 1, 2);
    }
    static void give(guint32 index, const gchar* name, const gchar* type, std::string bytes) {
        clt_init_method_property(0, 1, index, name, type, bytes.size(), bytes.data());
    }
    // Asks for the property "Limit" of "Stop" and returns the code.
    gint32 ask() {
        release();
        return clt_get_method_property("Fan", "Stop", "Limit", &value);
    }
    void release() {
        if (value != nullptr) g_variant_unref(value);
        value = nullptr;
    }
    void TearDown() override {
        release();
        mox::test::TreeFixture::TearDown();
    }
    GVariant* value = nullptr;
};

TEST_F(MethodConstant, IsAFloatingValueOverThePoolsBytes) {
    give(0, "Other", "u", std::string(4, '\1'));
    give(1, "Limit", "u", std::string(4, '\2'));
    ASSERT_EQ(ask(), 0);
    EXPECT_TRUE(g_variant_is_floating(value));
    EXPECT_STREQ(g_variant_get_type_string(value), "u");
    EXPECT_EQ(g_variant_get_uint32(value), 0x02020202U);
    EXPECT_EQ(g_variant_get_data(value), method_at(0, 1).property_arr->property[1].data);
}

TEST_F(MethodConstant, StaysInThePoolWhenItsValueIsFreed) {
    give(0, "Limit", "s", std::string("left of the door", 17));
    ASSERT_EQ(ask(), 0);
    EXPECT_STREQ(g_variant_get_string(value, nullptr), "left of the door");
    release();
    EXPECT_TRUE(space::is_live(method_at(0, 1).property_arr->property[0].data));
    ASSERT_EQ(ask(), 0);
    EXPECT_STREQ(g_variant_get_string(value, nullptr), "left of the door");
}

TEST_F(MethodConstant, IsTrustedOnceItsBytesWereFoundInOrder) {
    give(0, "Limit", "s", std::string("abc", 4));
    ASSERT_EQ(ask(), 0);
    // No text in UTF-8 any more: a value that is not trusted reads as empty text then.
    static_cast<gchar*>(method_at(0, 1).property_arr->property[0].data)[0] = '\xff';
    EXPECT_STREQ(g_variant_get_string(value, nullptr),
                 "\xff"
                 "bc");
}

TEST_F(MethodConstant, MayBeAnEmptyArray) {
    clt_init_method_property(0, 1, 0, "Limit", "as", 0, nullptr);
    ASSERT_EQ(ask(), 0);
    EXPECT_EQ(g_variant_n_children(value), 0U);
}

TEST_F(MethodConstant, OfTextWithoutItsTerminatorReadsAsEmptyText) {
    give(0, "Limit", "s", "abc");
    ASSERT_EQ(ask(), 0);
    EXPECT_STREQ(g_variant_get_string(value, nullptr), "");
}

TEST_F(MethodConstant, OfTextsOfWhichOneLacksItsTerminatorIsReadWithinItsBytes) {
    // Two texts "a" and "b" with their offsets 2 and 4, the second one's terminator overwritten.
    give(0, "Limit", "as", std::string("a\0bb\2\4", 6));
    ASSERT_EQ(ask(), 0);
    ASSERT_EQ(g_variant_n_children(value), 2U);
    GVariant* second = g_variant_get_child_value(value, 1);
    EXPECT_STREQ(g_variant_get_string(second, nullptr), "");
    g_variant_unref(second);
}

TEST_F(MethodConstant, OfAWrongSizeReadsAsZero) {
    give(0, "Limit", "u", "ab");
    ASSERT_EQ(ask(), 0);
    EXPECT_EQ(g_variant_get_uint32(value), 0U);
}

TEST_F(MethodConstant, OfNoTypeOfAValueIsAnInternalFailure) {
    for (const char* type : {"", "!", "ab*", "*", "aaaaau"}) {
        give(0, "Limit", type, std::string(4, '\1'));
        EXPECT_EQ(ask(), MOX_ERR_INTERNAL) << type;
        EXPECT_EQ(value, nullptr) << type;
    }
}

TEST_F(MethodConstant, WhoseBytesFoundNoRoomIsAnInternalFailure) {
    space::fail_allocation(2);
    logged_by([] { give(0, "Limit", "u", std::string(4, '\1')); });
    EXPECT_EQ(ask(), MOX_ERR_INTERNAL);
}

TEST_F(MethodConstant, ThatIsUnknownIsNotFound) {
    give(0, "Other", "u", std::string(4, '\1'));
    EXPECT_EQ(ask(), MOX_ERR_PROPERTY_NOT_FOUND);
    EXPECT_EQ(clt_get_method_property("Fan", "Stop", nullptr, &value), MOX_ERR_PROPERTY_NOT_FOUND);
    EXPECT_EQ(clt_get_method_property("Fan", "Start", "Other", &value), MOX_ERR_PROPERTY_NOT_FOUND)
        << "a method without an array";
    EXPECT_EQ(value, nullptr);
}

TEST_F(MethodConstant, OfAnUnknownClassOrMethodIsRefusedAndLogged) {
    EXPECT_EQ(
        logged_by([this] {
            EXPECT_EQ(clt_get_method_property("Disk", "Stop", "Limit", &value),
                      MOX_ERR_CLASS_NOT_FOUND);
            EXPECT_EQ(clt_get_method_property("Fan", "Turn", "Limit", &value),
                      MOX_ERR_METHOD_NOT_FOUND);
        }),
        error_line("class Disk not found method list.\n") + error_line("method Turn not found.\n"));
    clt_set_tree_addr(nullptr);
    EXPECT_EQ(ask(), MOX_ERR_CLASS_NOT_FOUND);
}

TEST_F(MethodConstant, NeedsAReceiver) {
    EXPECT_EQ(clt_get_method_property("Fan", "Stop", "Limit", nullptr), MOX_ERR_BAD_ARGUMENT);
}

}  // namespace
