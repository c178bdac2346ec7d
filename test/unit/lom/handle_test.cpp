// Handles, names and the plain fields of a record.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "object_fixture.hpp"

namespace {

using mox::test::add_object;
using mox::test::record_of;

constexpr guint32 kNoPosition = 0xFFFFFFFF;

class ObjectHandle : public mox::test::ObjectFixture {};

TEST_F(ObjectHandle, OfNoNameIs0) {
    EXPECT_EQ(lom_name_to_handle(nullptr), 0);
}

TEST_F(ObjectHandle, OfANameThatNoObjectHasIsNot0) {
    EXPECT_NE(lom_name_to_handle("NeverMade"), 0);
}

TEST_F(ObjectHandle, IsTheSameForTheSameText) {
    const std::string name = "Fan1";
    EXPECT_EQ(lom_name_to_handle(name.c_str()), lom_name_to_handle("Fan1"));
    EXPECT_NE(lom_name_to_handle("Fan1"), lom_name_to_handle("Fan2"));
}

TEST_F(ObjectHandle, IsTheQuarkOfTheName) {
    EXPECT_EQ(static_cast<GQuark>(lom_name_to_handle("Fan1")), g_quark_from_string("Fan1"));
}

TEST_F(ObjectHandle, GivesItsNameBack) {
    EXPECT_STREQ(lom_handle_to_name(lom_name_to_handle("Fan1")), "Fan1");
    EXPECT_STREQ(lom_get_object_name(lom_name_to_handle("Fan1")), "Fan1");
}

TEST_F(ObjectHandle, GivesItsNameBackAfterTheObjectIsGone) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    mox::test::delete_object("Fan1");
    EXPECT_STREQ(lom_handle_to_name(fan), "Fan1");
}

TEST_F(ObjectHandle, Of0HasNoName) {
    EXPECT_EQ(lom_handle_to_name(0), nullptr);
    EXPECT_EQ(lom_get_object_name(0), nullptr);
}

TEST_F(ObjectHandle, ThatWasNeverGivenOutHasNoName) {
    EXPECT_EQ(lom_handle_to_name(G_MAXINT32), nullptr);
    EXPECT_EQ(lom_handle_to_name(-1), nullptr);
}

TEST_F(ObjectHandle, IsFoundByTheNameOfAnObject) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    EXPECT_EQ(lom_get_object_handle("Fan1"), fan);
}

TEST_F(ObjectHandle, IsNotFoundForAnUnknownNullOrEmptyName) {
    add_object({.name = "Fan1"});
    EXPECT_EQ(lom_get_object_handle("Fan2"), 0);
    EXPECT_EQ(lom_get_object_handle(nullptr), 0);
    EXPECT_EQ(lom_get_object_handle(""), 0);
}

// A buffer of 64 bytes, filled so that what is written can be told from what is not.
struct Buffer {
    Buffer() { std::memset(bytes, '#', sizeof bytes); }
    gchar bytes[64];
};

class ObjectClassName : public mox::test::ObjectFixture {};

TEST_F(ObjectClassName, IsCopied) {
    Buffer buffer;
    EXPECT_EQ(lom_get_class_name(add_object({.name = "Fan1"}), buffer.bytes, 32), MOX_OK);
    EXPECT_STREQ(buffer.bytes, "Fan");
}

TEST_F(ObjectClassName, IsCopiedIntoALongerBuffer) {
    Buffer buffer;
    EXPECT_EQ(lom_get_class_name(add_object({.name = "Fan1"}), buffer.bytes, 64), MOX_OK);
    EXPECT_STREQ(buffer.bytes, "Fan");
}

TEST_F(ObjectClassName, Of31CharactersFits) {
    const std::string name(31, 'c');
    Buffer buffer;
    EXPECT_EQ(
        lom_get_class_name(add_object({.name = "Fan1", .class_name = name}), buffer.bytes, 32),
        MOX_OK);
    EXPECT_EQ(buffer.bytes, name);
    EXPECT_EQ(buffer.bytes[32], '#');
}

TEST_F(ObjectClassName, NeedsAHandleABufferAndALengthOf32) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    Buffer buffer;
    EXPECT_EQ(lom_get_class_name(0, buffer.bytes, 32), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(lom_get_class_name(fan, nullptr, 32), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(lom_get_class_name(fan, buffer.bytes, 31), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(lom_get_class_name(fan, buffer.bytes, -1), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(buffer.bytes[0], '#');
}

TEST_F(ObjectClassName, OfAnUnknownObjectIsNotFound) {
    Buffer buffer;
    EXPECT_EQ(lom_get_class_name(lom_name_to_handle("Fan2"), buffer.bytes, 32),
              MOX_ERR_OBJECT_NOT_FOUND);
}

int g_fetches = 0;

TEST_F(ObjectClassName, IsNotFetchedFromTheOwner) {
    g_fetches = 0;
    lom_set_copy_func([](const gchar*, gsize) -> OBJECT_HEAD_S* {
        ++g_fetches;
        return nullptr;
    });
    const OBJ_HANDLE unknown = lom_name_to_handle("Fan2");
    Buffer buffer;
    lom_get_class_name(unknown, buffer.bytes, 32);
    lom_get_charged_class(unknown, buffer.bytes, 32);
    lom_get_charged_object(unknown, buffer.bytes, 32);
    lom_set_module(unknown, nullptr);
    lom_get_module(unknown);
    lom_get_position(unknown);
    lom_bind_data(unknown, &buffer, nullptr);
    lom_get_binded_data(unknown);
    EXPECT_EQ(g_fetches, 0);
}

using ChargedName = gint32 (*)(OBJ_HANDLE, gchar*, gint32);

struct ChargedCase {
    const char* name;
    ChargedName get;
    const char* expected;
};

// The class and the object that a handle stands for, by the first node of its name list.
class ObjectCharge : public mox::test::ObjectFixture,
                     public ::testing::WithParamInterface<ChargedCase> {
protected:
    static gint32 get(OBJ_HANDLE handle, gchar* buffer, gint32 length) {
        return GetParam().get(handle, buffer, length);
    }
};

TEST_P(ObjectCharge, IsTheFirstNodesName) {
    Buffer buffer;
    EXPECT_EQ(get(add_object({.name = "Fan1"}), buffer.bytes, 32), MOX_OK);
    EXPECT_STREQ(buffer.bytes, GetParam().expected);
}

TEST_P(ObjectCharge, NeedsAHandleAndABuffer) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    Buffer buffer;
    EXPECT_EQ(get(0, buffer.bytes, 32), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(get(fan, nullptr, 32), MOX_ERR_BAD_ARGUMENT);
}

TEST_P(ObjectCharge, NeedsALengthOfExactly32) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    Buffer buffer;
    EXPECT_EQ(get(fan, buffer.bytes, 31), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(get(fan, buffer.bytes, 33), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(get(fan, buffer.bytes, 64), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(buffer.bytes[0], '#');
}

TEST_P(ObjectCharge, OfAnUnknownObjectIsNotFound) {
    Buffer buffer;
    EXPECT_EQ(get(lom_name_to_handle("Fan2"), buffer.bytes, 32), MOX_ERR_OBJECT_NOT_FOUND);
}

TEST_P(ObjectCharge, OfARecordWithoutANameListIsAnInternalFailure) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    CLASS_OBJECT_LIST_S* const list = std::exchange(record_of("Fan1")->name_list, nullptr);
    Buffer buffer;
    EXPECT_EQ(get(fan, buffer.bytes, 32), MOX_ERR_INTERNAL);
    record_of("Fan1")->name_list = list;
}

INSTANTIATE_TEST_SUITE_P(Names, ObjectCharge,
                         ::testing::Values(ChargedCase{"Class", lom_get_charged_class, "Fan"},
                                           ChargedCase{"Object", lom_get_charged_object, "Fan1"}),
                         [](const auto& about) { return about.param.name; });

class ObjectModule : public mox::test::ObjectFixture {};

TEST_F(ObjectModule, IsNullAtFirst) {
    EXPECT_EQ(lom_get_module(add_object({.name = "Fan1"})), nullptr);
}

TEST_F(ObjectModule, IsWhatWasSet) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_set_module(fan, this);
    EXPECT_EQ(lom_get_module(fan), this);
    lom_set_module(fan, nullptr);
    EXPECT_EQ(lom_get_module(fan), nullptr);
}

TEST_F(ObjectModule, OfAnUnknownHandleIsIgnoredAndNull) {
    add_object({.name = "Fan1"});
    for (const OBJ_HANDLE handle : {0, lom_name_to_handle("Fan2"), G_MAXINT32}) {
        lom_set_module(handle, this);
        EXPECT_EQ(lom_get_module(handle), nullptr);
    }
    EXPECT_EQ(record_of("Fan1")->module, nullptr);
}

class ModuleType : public mox::test::ObjectFixture {};

TEST_F(ModuleType, IsWhatWasSet) {
    for (const MOX_MODULE_TYPE type : {MODULE_SERVICE, MODULE_INTERFACE, MODULE_APP}) {
        lom_set_module_type(type);
        EXPECT_EQ(lom_get_module_type(), type);
    }
}

TEST_F(ModuleType, HasTheEstablishedNumbers) {
    EXPECT_EQ(static_cast<int>(MODULE_APP), 0);
    EXPECT_EQ(static_cast<int>(MODULE_SERVICE), 1);
    EXPECT_EQ(static_cast<int>(MODULE_INTERFACE), 2);
}

class ObjectPosition : public mox::test::ObjectFixture {};

TEST_F(ObjectPosition, IsTheOneItWasCreatedWith) {
    EXPECT_EQ(lom_get_position(add_object({.name = "Fan1", .position = 42})), 42U);
}

TEST_F(ObjectPosition, OfAnUnknownHandleIsAllOnes) {
    add_object({.name = "Fan1"});
    EXPECT_EQ(lom_get_position(lom_name_to_handle("Fan2")), kNoPosition);
    EXPECT_EQ(lom_get_position(0), kNoPosition);
    EXPECT_EQ(lom_get_position(G_MAXINT32), kNoPosition);
}

}  // namespace
