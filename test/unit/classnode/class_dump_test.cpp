// The text dump of the class registry.
#include "classnode/class_dump.hpp"

#include <classnode.h>
#include <gtest/gtest.h>
#include <lom/registry.h>

#include <cstdio>
#include <string>

#include "captured_output.hpp"
#include "member_process.hpp"
#include "pool_fixture.hpp"

namespace {

using mox::test::MemberProcess;
using mox::test::stdout_of;
using mox::test::stream_text_of;

std::string dumped() {
    return stream_text_of(cls_debug_print);
}

const std::string kTitle = "=====================class info============================\n";

std::string pointer_text(gconstpointer pointer) {
    char text[32];
    std::snprintf(text, sizeof(text), "%p", pointer);
    return text;
}

class ClassDump : public mox::test::PoolFixture {};

TEST_F(ClassDump, BeforeTheFirstClassIsOnlyATitle) {
    EXPECT_EQ(dumped(), kTitle);
}

TEST_F(ClassDump, OfAClassShowsItsOwner) {
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_set_module(fan, this);
    EXPECT_EQ(dumped(), kTitle + "--------------------- Fan                 -----------------\n" +
                            "owned module   : " + pointer_text(this) + "\n");
}

TEST_F(ClassDump, OfALongClassNameShowsAllOfIt) {
    cls_create_class("ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    EXPECT_NE(dumped().find("--------------------- ABCDEFGHIJKLMNOPQRSTUVWXYZ-----------------\n"),
              std::string::npos);
}

TEST_F(ClassDump, NumbersTheObjectsInListOrder) {
    CLS_HANDLE fan = cls_create_class("Fan");
    for (int i = 1; i <= 10; ++i)
        cls_add_object("Fan", lom_name_to_handle(("Fan" + std::to_string(i)).c_str()));
    std::string expected = kTitle +
                           "--------------------- Fan                 -----------------\n" +
                           "owned module   : " + pointer_text(cls_get_module(fan)) + "\n";
    for (int i = 1; i <= 9; ++i) {
        expected += "object  " + std::to_string(i) + "      : Fan" + std::to_string(11 - i) + "\n";
    }
    expected += "object 10      : Fan1\n";
    EXPECT_EQ(dumped(), expected);
}

TEST_F(ClassDump, OfOneListenedPropertyShowsItsPortsInRegistrationOrder) {
    CLS_HANDLE fan = cls_create_class("Fan");
    for (const gint32 port : {7, 5, -1}) cls_add_listener_port(fan, "Speed", port, 3);
    const std::string text = dumped();
    EXPECT_EQ(text.substr(text.find("listened")), "listened       : Speed: 7, 5, -1, \n");
}

TEST_F(ClassDump, OfSeveralListenedPropertiesShowsOneALine) {
    CLS_HANDLE fan = cls_create_class("Fan");
    for (const char* property : {"Speed", "Noise", "Age"})
        cls_add_listener_port(fan, property, 5, 2);
    cls_add_listener_port(fan, "Noise", 6, 2);
    const std::string text = dumped();
    EXPECT_EQ(text.substr(text.find("listened")),
              "listened       : Speed: 5, \n"
              "               : Noise: 5, 6, \n"
              "               : Age: 5, \n");
}

TEST_F(ClassDump, OfAPropertyWithoutPortsPutsTheNextOneOnTheSameLine) {
    CLS_HANDLE fan = cls_create_class("Fan");
    mox::fake::space::fail_allocation(3);
    stdout_of([fan] { cls_add_listener_port(fan, "Speed", 5, 2); });
    ASSERT_EQ(fan->share->listener_array->listener_array, nullptr);
    cls_add_listener_port(fan, "Noise", 6, 2);
    const std::string text = dumped();
    EXPECT_EQ(text.substr(text.find("listened")), "listened       : Speed: Noise: 6, \n");
}

TEST_F(ClassDump, OfALastPropertyWithoutPortsEndsBehindItsName) {
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_add_listener_port(fan, "Speed", 5, 2);
    mox::fake::space::fail_allocation(3);
    stdout_of([fan] { cls_add_listener_port(fan, "Noise", 6, 2); });
    const std::string text = dumped();
    EXPECT_EQ(text.substr(text.find("listened")),
              "listened       : Speed: 5, \n               : Noise: ");
}

TEST_F(ClassDump, InAnyOtherProcessShowsNoPrivateData) {
    CLS_HANDLE fan = cls_create_class("Fan");
    cls_add_object("Fan", lom_name_to_handle("Fan1"));
    cls_add_listener_port(fan, "Speed", 5, 2);
    const MemberProcess member;
    cls_create_class("Fan");
    EXPECT_EQ(dumped(), kTitle + "--------------------- Fan                 -----------------\n");
    cls_init_share_data(member.owners_base());
    EXPECT_EQ(dumped(), kTitle + "--------------------- Fan                 -----------------\n" +
                            "listened       : Speed: 5, \n");
}

TEST_F(ClassDump, ShowsEveryClass) {
    cls_create_class("Fan");
    cls_create_class("Disk");
    const std::string text = dumped();
    EXPECT_NE(text.find(" Fan "), std::string::npos);
    EXPECT_NE(text.find(" Disk "), std::string::npos);
}

TEST_F(ClassDump, WithoutAStreamPrintsNothing) {
    cls_create_class("Fan");
    EXPECT_EQ(stdout_of([] { cls_debug_print(nullptr); }), "");
}

TEST_F(ClassDump, OfAListOfHandlesIsTheirNames) {
    GSList* list = nullptr;
    MODULE_CLASS_NODE_S empty = {};
    list = g_slist_append(list, cls_create_class("Fan"));
    list = g_slist_append(list, &empty);
    list = g_slist_append(list, cls_create_class("Disk"));
    EXPECT_EQ(stream_text_of(
                  [list](FILE* stream) { g_slist_foreach(list, dump_traverse_class, stream); }),
              "Fan, Disk, ");
    g_slist_free(list);
}

}  // namespace
