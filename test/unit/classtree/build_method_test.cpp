// Building the methods of a class: their parameters and their constant properties.
#include <gtest/gtest.h>

#include "tree_fixture.hpp"

namespace {

namespace space = mox::fake::space;
using mox::test::field_text;
using mox::test::logged_by;
using mox::test::TypeField;

const std::string kLongName = "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234567";
const std::string kCutName = "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234";

using TreeMethod = mox::test::TreeFixture;
using MethodParameter = mox::test::TreeFixture;

class MethodProperty : public mox::test::TreeFixture {
protected:
    void SetUp() override {
        mox::test::TreeFixture::SetUp();
        make_fan();
        clt_create_method_property(0, 1, 2);
    }
    static METHOD_PROPERTY_NODE_S& property_at(gsize index) {
        return method_at(0, 1).property_arr->property[index];
    }
    guint32 number = 0x01020304;
};

TEST_F(TreeMethod, LiesInItsClasssArray) {
    clt_create_class_tree(1);
    clt_create_method(0, 3);
    const DEFINED_METHOD_ARRAY_S* array = class_at(0).method_array;
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->size, 3U);
    EXPECT_EQ(space::size_of(array), sizeof(gsize) + 3 * sizeof(DEFINED_METHOD_NODE_S));
}

TEST_F(TreeMethod, HasItsNameAndIdAndNoParameters) {
    clt_create_class_tree(1);
    clt_create_method(0, 2);
    clt_init_method(0, 1, 12, "Stop");
    EXPECT_STREQ(method_at(0, 1).name, "Stop");
    EXPECT_TRUE(space::is_live(method_at(0, 1).name));
    EXPECT_EQ(method_at(0, 1).id, 12U);
    EXPECT_EQ(method_at(0, 1).para[INPUT_PARA], nullptr);
    EXPECT_EQ(method_at(0, 1).para[OUTPUT_PARA], nullptr);
    EXPECT_EQ(method_at(0, 1).property_arr, nullptr);
    EXPECT_EQ(method_at(0, 0).name, nullptr);
}

TEST_F(TreeMethod, InitialisedAgainLosesItsParametersOnly) {
    make_fan();
    clt_create_method_para(0, 0, INPUT_PARA, 1);
    clt_create_method_para(0, 0, OUTPUT_PARA, 1);
    clt_create_method_property(0, 0, 1);
    const METHOD_PROPERTY_ARRAY_S* properties = method_at(0, 0).property_arr;
    clt_init_method(0, 0, 5, "Begin");
    EXPECT_STREQ(method_at(0, 0).name, "Begin");
    EXPECT_EQ(method_at(0, 0).para[INPUT_PARA], nullptr);
    EXPECT_EQ(method_at(0, 0).para[OUTPUT_PARA], nullptr);
    EXPECT_EQ(method_at(0, 0).property_arr, properties);
}

TEST_F(TreeMethod, OfALongNameIsStoredCutTo31Characters) {
    make_fan();
    clt_init_method(0, 0, 1, kLongName.c_str());
    EXPECT_EQ(method_at(0, 0).name, kCutName);
}

TEST_F(TreeMethod, ArrayWithoutRoomIsNone) {
    make_fan();
    space::fail_allocation(1);
    logged_by([] { clt_create_method(0, 2); });
    EXPECT_EQ(class_at(0).method_array, nullptr);
}

TEST_F(TreeMethod, WhoseNameFindsNoRoomHasNone) {
    make_fan();
    space::fail_allocation(1);
    logged_by([] { clt_init_method(0, 0, 9, "Begin"); });
    EXPECT_EQ(method_at(0, 0).name, nullptr);
    EXPECT_EQ(method_at(0, 0).id, 9U);
}

TEST_F(MethodParameter, TakesSixBytesOfItsArray) {
    make_fan();
    clt_create_method_para(0, 0, OUTPUT_PARA, 3);
    const DEFINED_METHOD_PARA_ARRAY_S* array = method_at(0, 0).para[OUTPUT_PARA];
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->size, 3U);
    EXPECT_EQ(space::size_of(array), sizeof(gsize) + 6 * 3);
    EXPECT_EQ(method_at(0, 0).para[INPUT_PARA], nullptr);
}

TEST_F(MethodParameter, TakesItsTypeAs6RawBytes) {
    make_fan();
    clt_create_method_para(0, 1, INPUT_PARA, 3);
    clt_init_method_para(0, 1, INPUT_PARA, 1, TypeField("abcdefgh"));
    clt_init_method_para(0, 1, INPUT_PARA, 2, TypeField("s"));
    const DEFINED_METHOD_PARA_NODE_S* parameters = method_at(0, 1).para[INPUT_PARA]->para;
    EXPECT_EQ(field_text(parameters[0].type), std::string(6, '\0'));
    EXPECT_EQ(field_text(parameters[1].type), "abcdef");
    EXPECT_EQ(field_text(parameters[2].type), std::string("s\0\0\0\0\0", 6));
}

TEST_F(MethodParameter, WithoutATypeIsLoggedAndEmptied) {
    make_fan();
    clt_create_method_para(0, 0, INPUT_PARA, 1);
    clt_init_method_para(0, 0, INPUT_PARA, 0, TypeField("u"));
    EXPECT_THAT(logged_by([] { clt_init_method_para(0, 0, INPUT_PARA, 0, nullptr); }),
                ::testing::MatchesRegex(".*ERROR:.*\\[classtree\\]\\[[0-9]+\\]: memmove_s failed "
                                        "ret\\([0-9]+\\)\\.\n"));
    EXPECT_EQ(field_text(method_at(0, 0).para[INPUT_PARA]->para[0].type), std::string(6, '\0'));
}

TEST_F(MethodParameter, OfNoDirectionIsIgnored) {
    make_fan();
    const gsize blocks = space::live_blocks();
    clt_create_method_para(0, 0, PARA_DIRECTIONS, 1);
    clt_init_method_para(0, 0, PARA_DIRECTIONS, 0, TypeField("u"));
    EXPECT_EQ(space::live_blocks(), blocks);
    EXPECT_EQ(method_at(0, 0).para[INPUT_PARA], nullptr);
    EXPECT_EQ(method_at(0, 0).para[OUTPUT_PARA], nullptr);
    EXPECT_EQ(method_at(0, 0).property_arr, nullptr);
}

TEST_F(MethodParameter, ArrayWithoutRoomIsNone) {
    make_fan();
    clt_create_method_para(0, 0, INPUT_PARA, 1);
    space::fail_allocation(1);
    logged_by([] { clt_create_method_para(0, 0, INPUT_PARA, 2); });
    EXPECT_EQ(method_at(0, 0).para[INPUT_PARA], nullptr);
}

TEST_F(MethodProperty, LiesInItsMethodsArray) {
    const METHOD_PROPERTY_ARRAY_S* array = method_at(0, 1).property_arr;
    ASSERT_NE(array, nullptr);
    EXPECT_EQ(array->count, 2U);
    EXPECT_EQ(space::size_of(array), sizeof(gsize) + 2 * sizeof(METHOD_PROPERTY_NODE_S));
    EXPECT_EQ(method_at(0, 0).property_arr, nullptr);
}

TEST_F(MethodProperty, KeepsACopyOfItsValue) {
    clt_init_method_property(0, 1, 1, "Timeout", "u", sizeof(number), &number);
    const METHOD_PROPERTY_NODE_S& timeout = property_at(1);
    EXPECT_STREQ(timeout.name, "Timeout");
    EXPECT_TRUE(space::is_live(timeout.name));
    EXPECT_STREQ(timeout.type, "u");
    EXPECT_EQ(timeout.size, sizeof(number));
    EXPECT_EQ(space::size_of(timeout.data), sizeof(number));
    EXPECT_EQ(std::memcmp(timeout.data, &number, sizeof(number)), 0);
    EXPECT_EQ(property_at(0).name, nullptr);
}

TEST_F(MethodProperty, OfALongTypeKeeps5Characters) {
    clt_init_method_property(0, 1, 0, "A", "aaaaau", sizeof(number), &number);
    EXPECT_STREQ(property_at(0).type, "aaaaa");
    clt_init_method_property(0, 1, 1, "B", "aaaau", sizeof(number), &number);
    EXPECT_STREQ(property_at(1).type, "aaaau");
}

TEST_F(MethodProperty, NeedNotHaveATypeOrAValue) {
    clt_init_method_property(0, 1, 0, "A", nullptr, 4, nullptr);
    EXPECT_STREQ(property_at(0).name, "A");
    EXPECT_STREQ(property_at(0).type, "");
    EXPECT_EQ(property_at(0).size, 4U);
    EXPECT_EQ(property_at(0).data, nullptr);
}

TEST_F(MethodProperty, OfALongNameIsStoredCutTo31Characters) {
    clt_init_method_property(0, 1, 0, kLongName.c_str(), "u", sizeof(number), &number);
    EXPECT_EQ(property_at(0).name, kCutName);
}

TEST_F(MethodProperty, ArrayWithoutRoomIsNone) {
    space::fail_allocation(1);
    logged_by([] { clt_create_method_property(0, 1, 1); });
    EXPECT_EQ(method_at(0, 1).property_arr, nullptr);
}

TEST_F(MethodProperty, ArrayOfMorePropertiesThanThereIsMemoryForIsNone) {
    logged_by([] { clt_create_method_property(0, 1, G_MAXSIZE); });
    EXPECT_EQ(method_at(0, 1).property_arr, nullptr);
}

}  // namespace
