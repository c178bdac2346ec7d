// The text dumps of objects and of a module's registration.
#include <classnode.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "lom/alias.hpp"
#include "lom/dump.hpp"
#include "object_fixture.hpp"

namespace {

using mox::test::add_object;
using mox::test::number;
using mox::test::record_of;

template <typename Body>
std::string printed(Body&& body) {
    char* text = nullptr;
    std::size_t length = 0;
    FILE* const stream = open_memstream(&text, &length);
    body(stream);
    std::fclose(stream);
    const std::string result(text, length);
    std::free(text);
    return result;
}

std::string listed() {
    return printed([](FILE* stream) { lom_list_objects(stream); });
}

const std::string kHeader = "==========================object===========================\n";

// The fixed lines of an object whose semaphore is the first of the fake layer.
std::string block_of_fan1(const std::string& ref_count = "1") {
    return "----------------- Fan1                          -----------\n"
           "semid          : " +
           std::to_string(record_of("Fan1")->semid) +
           "\n"
           "sem member     : " +
           std::to_string(record_of("Fan1")->sem_member) +
           "\n"
           "ref count      : " +
           ref_count + "\n";
}

LOCAL_PROPERTY_S& local_speed() {
    return *static_cast<LOCAL_PROPERTY_S*>(
        g_hash_table_lookup(record_of("Fan1")->property_hash, "Speed"));
}

class ObjectDump : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        ASSERT_NE(cls_create_class("Fan"), nullptr);
    }
    static void add_fan1() {
        add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 7)}});
    }
    static std::string block() {
        return printed([](FILE* stream) { _dump_hash_object(nullptr, record_of("Fan1"), stream); });
    }
};

TEST_F(ObjectDump, IsEmptyBeforeTheFirstObject) {
    EXPECT_EQ(listed(), "");
}

TEST_F(ObjectDump, ToNoStreamPrintsNothing) {
    add_fan1();
    lom_list_objects(nullptr);
    EXPECT_EQ(mox::fake::driver_dumps(), 0U);
}

TEST_F(ObjectDump, HasAHeaderTheObjectsAndThePhysicalObjects) {
    add_fan1();
    EXPECT_EQ(listed(), kHeader + block_of_fan1() + mox::fake::driver_dump_text);
    EXPECT_EQ(mox::fake::driver_dumps(), 1U);
}

TEST_F(ObjectDump, HasABlockForEveryObject) {
    add_object({.name = "Fan1"});
    add_object({.name = "Fan2"});
    const std::string text = listed();
    EXPECT_NE(text.find(block_of_fan1()), std::string::npos) << text;
    EXPECT_NE(text.find("----------------- Fan2 "), std::string::npos) << text;
}

TEST_F(ObjectDump, HasTheAliasesBetweenObjectsAndPhysicalObjects) {
    add_fan1();
    g_local_alias_hashtable = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    g_hash_table_insert(g_local_alias_hashtable, g_strdup("Blower"), g_strdup("Fan1"));
    const std::string text = listed();
    g_hash_table_destroy(g_local_alias_hashtable);
    g_local_alias_hashtable = nullptr;
    EXPECT_EQ(text, kHeader + block_of_fan1() + "alias name: Blower, object name: Fan1\n" +
                        mox::fake::driver_dump_text);
}

TEST_F(ObjectDump, LeavesTheTableFreeForOthersAndTakesNoSemaphore) {
    add_fan1();
    listed();
    EXPECT_TRUE(mox::test::table_mutex_is_free());
    EXPECT_EQ(mox::fake::osal::takes(), 0U);
    EXPECT_EQ(record_of("Fan1")->ref_count, 1);
}

TEST_F(ObjectDump, ShowsTheReferencesThatAreHeld) {
    add_fan1();
    OBJECT_HEAD_S* const held = _get_object_ptr_option("Fan1", TRUE);
    EXPECT_EQ(block(), block_of_fan1("2"));
    _object_unref(held);
}

TEST_F(ObjectDump, PadsANameTo30CharactersAndKeepsALongerOne) {
    const std::string name(31, 'n');
    add_object({.name = name});
    const std::string text = listed();
    EXPECT_NE(text.find("----------------- " + name + "-----------\n"), std::string::npos) << text;
}

TEST_F(ObjectDump, HasNoLineForAQuietProperty) {
    add_fan1();
    EXPECT_EQ(block(), block_of_fan1());
}

TEST_F(ObjectDump, CountsTheEventsSent) {
    add_fan1();
    local_speed().change_cnt = 3;
    EXPECT_EQ(block(), block_of_fan1() + ".Speed          : send event count: 3\n");
}

TEST_F(ObjectDump, CountsTheEventsReceived) {
    add_fan1();
    local_speed().receive_cnt = 4;
    EXPECT_EQ(block(), block_of_fan1() + ".Speed          : recv event count: 4\n");
}

TEST_F(ObjectDump, ListsThePortsThatListenTheNewestFirst) {
    add_fan1();
    cls_add_listener_port(cls_get_class("Fan"), "Speed", 31, 8);
    cls_add_listener_port(cls_get_class("Fan"), "Speed", 32, 8);
    EXPECT_EQ(block(), block_of_fan1() + ".Speed          : listened by port : 32, 31, \n");
}

TEST_F(ObjectDump, HasCountsAndPortsInOneLine) {
    add_fan1();
    local_speed().change_cnt = 3;
    local_speed().receive_cnt = 4;
    cls_add_listener_port(cls_get_class("Fan"), "Speed", 31, 8);
    EXPECT_EQ(block(), block_of_fan1() +
                           ".Speed          : send event count: 3 : recv event count: 4"
                           " : listened by port : 31, \n");
}

TEST_F(ObjectDump, KeepsAPropertyNameThatIsLongerThan14Characters) {
    add_object({.name = "Fan1", .properties = {number<guint32>("SpeedInRevolutions", "u", 7)}});
    static_cast<LOCAL_PROPERTY_S*>(
        g_hash_table_lookup(record_of("Fan1")->property_hash, "SpeedInRevolutions"))
        ->change_cnt = 1;
    EXPECT_EQ(block(), block_of_fan1() + ".SpeedInRevolutions : send event count: 1\n");
}

TEST_F(ObjectDump, HasNoPropertyLinesWhenTheListenersCannotBeAskedFor) {
    add_fan1();
    local_speed().change_cnt = 3;
    gchar* const class_name = std::exchange(record_of("Fan1")->class_name, nullptr);
    const std::string text = block();
    record_of("Fan1")->class_name = class_name;
    EXPECT_EQ(text, block_of_fan1());
}

TEST_F(ObjectDump, OfARecordWithoutAPropertyTableHasItsFixedLines) {
    add_fan1();
    g_hash_table_destroy(std::exchange(record_of("Fan1")->property_hash, nullptr));
    EXPECT_EQ(block(), block_of_fan1());
}

class ModuleDump : public mox::test::ObjectFixture {
protected:
    MODULE_REG_INFO_S info_ = {.module_id = 3,
                               .pid = 4711,
                               .rpc_port = -5,
                               .msg_que_id = 60,
                               .sync_sem = 7,
                               .share_class_base = nullptr,
                               .module_name = "fans"};
};

TEST_F(ModuleDump, HasIdProcessAndTheTwoPorts) {
    EXPECT_EQ(printed([this](FILE* stream) { lom_dump_reginfo(stream, &info_); }),
              "module id      : 3\n"
              "pid            : 4711\n"
              "rpc port       : -5\n"
              "ipc port       : 60\n");
}

TEST_F(ModuleDump, ToNoStreamPrintsNothing) {
    EXPECT_EQ(mox::test::stdout_of([this] { lom_dump_reginfo(nullptr, &info_); }), "");
}

TEST_F(ModuleDump, OfNoModulePrintsNothing) {
    EXPECT_EQ(printed([](FILE* stream) { lom_dump_reginfo(stream, nullptr); }), "");
}

}  // namespace
