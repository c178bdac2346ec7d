// Aliases when a formatter or a copy of a string fails, which neither does by itself here: the
// program is linked so that the calls of both go through the two functions below.
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "alias_fixture.hpp"

namespace {

// Of this thread: which call from now fails, 0 for none.
thread_local int failing_format = 0;
thread_local int failing_copy = 0;

bool is_due(int& calls_left) {
    return calls_left > 0 && --calls_left == 0;
}

}  // namespace

extern "C" {
int __real_vsnprintf(char* text, size_t room, const char* format, va_list values);
int __wrap_vsnprintf(char* text, size_t room, const char* format, va_list values) {
    return is_due(failing_format) ? -7 : __real_vsnprintf(text, room, format, values);
}
gchar* __real_g_strdup(const gchar* text);
gchar* __wrap_g_strdup(const gchar* text) {
    return is_due(failing_copy) ? nullptr : __real_g_strdup(text);
}
}

namespace {

using mox::test::add_object;
using mox::test::Aliases;
using mox::test::aliases;
using mox::test::put_alias;

class AliasFormatFailure : public mox::test::AliasFixture {
protected:
    // What a call logs whose formatter fails, without the source line.
    template <typename Call>
    static std::string logged(Call&& call) {
        mox::test::CapturedSyslog log;
        failing_format = 1;
        call();
        EXPECT_EQ(failing_format, 0) << "the formatter was not called";
        failing_format = 0;
        return mox::test::without_line(log.text());
    }
    const std::string report = mox::test::log_message("[lom][line]: snprintf_s failed ret(-7).\n");
};

TEST_F(AliasFormatFailure, IsLoggedAndBindsWhatTheBufferHolds) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    EXPECT_EQ(logged([fan] { EXPECT_EQ(lom_bind_alias(fan, 7), 0); }), report);
    EXPECT_EQ(aliases(), (Aliases{{"", "Fan1"}}));
}

TEST_F(AliasFormatFailure, IsLoggedAndUnbindsWhatTheBufferHolds) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_alias(fan, 7);
    put_alias("", "Fan1");
    EXPECT_EQ(logged([fan] { EXPECT_EQ(lom_unbind_alias(fan, 7), 0); }), report);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan7", "Fan1"}}));
}

TEST_F(AliasFormatFailure, IsLoggedAndFindsByWhatTheBufferHolds) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_alias(add_object({.name = "Fan2"}), 7);
    put_alias("", "Fan1");
    EXPECT_EQ(logged([fan] { EXPECT_EQ(lom_get_with_alias("Fan", 7), fan); }), report);
}

TEST_F(AliasFormatFailure, IsNotSeenInAKeyThatWasCut) {
    const std::string class_name(31, 'c');
    const OBJ_HANDLE fan = add_object({.name = "Fan1", .class_name = class_name});
    mox::test::CapturedSyslog log;
    lom_bind_alias(fan, 0x12345678);
    lom_get_with_alias(class_name.c_str(), 0x12345678);
    EXPECT_EQ(log.text(), "");
}

class AliasCopyFailure : public mox::test::AliasFixture {};

TEST_F(AliasCopyFailure, OfTheKeyBindsNothing) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    failing_copy = 1;
    EXPECT_EQ(lom_bind_alias(fan, 7), 0);
    EXPECT_EQ(failing_copy, 0);
    EXPECT_EQ(aliases(), Aliases{});
}

TEST_F(AliasCopyFailure, OfTheNameBindsNothingAndLeavesNothingBehind) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    failing_copy = 2;
    EXPECT_EQ(lom_bind_alias(fan, 7), 0);
    EXPECT_EQ(failing_copy, 0);
    EXPECT_EQ(aliases(), Aliases{});
}

TEST_F(AliasCopyFailure, KeepsWhatWasBoundBefore) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    const OBJ_HANDLE second = add_object({.name = "Fan2"});
    failing_copy = 2;
    EXPECT_EQ(lom_bind_alias(second, 7), 0);
    EXPECT_EQ(aliases(), (Aliases{{"a:Fan7", "Fan1"}}));
}

TEST_F(AliasCopyFailure, OfTheFoundNameFindsNothing) {
    lom_bind_alias(add_object({.name = "Fan1"}), 7);
    failing_copy = 1;
    EXPECT_EQ(lom_get_with_alias("Fan", 7), 0);
    EXPECT_EQ(failing_copy, 0);
}

}  // namespace
