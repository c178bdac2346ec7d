// Publication of a record in this process's object table, and the two switches of a published
// record.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;
using mox::test::add_object;
using mox::test::make_embryo;
using mox::test::number;
using mox::test::record_of;
using mox::test::stamped_message;
using mox::test::stdout_of;
using mox::test::text;

std::string address(const void* pointer) {
    char written[32];
    std::snprintf(written, sizeof written, "%p", pointer);
    return written;
}

std::string added(const OBJECT_HEAD_S* record, const std::string& name, const std::string& about) {
    return stamped_message("::::add object: " + address(record) + " key [" + name + "] object:[" +
                           name + "]," + about + "::::\n");
}

class AddedObject : public mox::test::ObjectFixture {};

TEST_F(AddedObject, HasTheHandleOfItsName) {
    EXPECT_EQ(lom_add_object(make_embryo({.name = "Fan1"})), lom_name_to_handle("Fan1"));
}

TEST_F(AddedObject, HasHandle0ForANullRecord) {
    EXPECT_EQ(lom_add_object(nullptr), 0);
    EXPECT_EQ(g_local_object_hashtable, nullptr);
}

TEST_F(AddedObject, HasHandle0WithoutAName) {
    auto* const record = static_cast<OBJECT_HEAD_S*>(lom_alloc_space(0));
    EXPECT_EQ(lom_add_object(record), 0);
    g_free(record);
}

TEST_F(AddedObject, IsTheTablesRecordItself) {
    OBJECT_HEAD_S* const record = make_embryo({.name = "Fan1"});
    lom_add_object(record);
    EXPECT_EQ(record_of("Fan1"), record);
    EXPECT_EQ(record->ref_count, 1);
}

TEST_F(AddedObject, IsFoundWhileItIsUnderConstruction) {
    OBJECT_HEAD_S* const record = make_embryo({.name = "Fan1"});
    lom_add_object(record);
    EXPECT_EQ(record->status, OBJECT_MXD_READY);
    EXPECT_EQ(_get_object_ptr_option("Fan1", TRUE), record);
    _object_unref(record);
}

TEST_F(AddedObject, StandsUnderACopyOfItsName) {
    OBJECT_HEAD_S* const record = make_embryo({.name = "Fan1"});
    lom_add_object(record);
    gpointer key = nullptr;
    ASSERT_TRUE(g_hash_table_lookup_extended(g_local_object_hashtable, "Fan1", &key, nullptr));
    EXPECT_NE(key, record->object_name);
}

TEST_F(AddedObject, HasEveryPropertyInItsTableWithCountersAtZero) {
    add_object(
        {.name = "Fan1", .properties = {number<guint32>("Speed", "u", 7), text("Label", "x")}});
    OBJECT_HEAD_S* const record = record_of("Fan1");
    ASSERT_NE(record->property_hash, nullptr);
    EXPECT_EQ(g_hash_table_size(record->property_hash), 2U);
    for (guint32 index = 0; index < 2; ++index) {
        SERIALISED_PROPERTY_S* const property = record->property_entry + index;
        const auto* const local = static_cast<const LOCAL_PROPERTY_S*>(
            g_hash_table_lookup(record->property_hash, property->name));
        ASSERT_NE(local, nullptr) << property->name;
        EXPECT_EQ(local->property_ptr, property);
        EXPECT_EQ(local->change_cnt, 0U);
        EXPECT_EQ(local->receive_cnt, 0U);
    }
}

TEST_F(AddedObject, WithoutPropertiesHasAnEmptyPropertyTable) {
    add_object({.name = "Fan1"});
    EXPECT_EQ(record_of("Fan1")->property_entry, nullptr);
    ASSERT_NE(record_of("Fan1")->property_hash, nullptr);
    EXPECT_EQ(g_hash_table_size(record_of("Fan1")->property_hash), 0U);
}

TEST_F(AddedObject, IsReportedWithItsPropertiesInClassOrder) {
    OBJECT_HEAD_S* const record =
        make_embryo({.name = "Fan1",
                     .position = 42,
                     .properties = {number<guint32>("Speed", "u", 7), text("Label", "x")}});
    mox::test::DebugLevel level{"3"};
    const std::string output = stdout_of([&] { lom_add_object(record); });
    EXPECT_EQ(output, added(record, "Fan1", "class:[Fan] pos[42]") +
                          stamped_message("add property: object:Fan1,property:Speed\n") +
                          stamped_message("add property: object:Fan1,property:Label\n"));
}

TEST_F(AddedObject, IsReportedAtDetailOnly) {
    OBJECT_HEAD_S* const record = make_embryo({.name = "Fan1", .properties = {text("Label", "x")}});
    mox::test::DebugLevel level{"2"};
    mox::test::CapturedSyslog log;
    EXPECT_EQ(stdout_of([&] { lom_add_object(record); }), "");
    EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST_F(AddedObject, KeepsAPropertyTableThatItHasAlready) {
    OBJECT_HEAD_S* const record = make_embryo({.name = "Fan1", .properties = {text("Label", "x")}});
    GHashTable* const own = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    record->property_hash = own;
    mox::test::DebugLevel level{"3"};
    const std::string output = stdout_of([&] { lom_add_object(record); });
    EXPECT_EQ(output, added(record, "Fan1", "class:[Fan] pos[0]"));
    EXPECT_EQ(record->property_hash, own);
    EXPECT_EQ(g_hash_table_size(own), 0U);
}

TEST_F(AddedObject, LeavesTheTableFreeForOthers) {
    add_object({.name = "Fan1"});
    EXPECT_TRUE(mox::test::table_mutex_is_free());
}

TEST_F(AddedObject, ReplacesOneOfTheSameName) {
    add_object({.name = "Fan1", .position = 1});
    add_object({.name = "Fan1", .position = 2});
    EXPECT_EQ(mox::test::all_records().size(), 1U);
    EXPECT_EQ(lom_get_position(lom_name_to_handle("Fan1")), 2U);
}

TEST_F(AddedObject, FreesTheOneThatItReplacesWithItsPoolMemoryAndSemaphore) {
    add_object({.name = "Fan1", .properties = {text("Label", "a long first value")}});
    const gint32 old_index = record_of("Fan1")->sem_index;
    const gsize with_first = space::live_blocks();
    add_object({.name = "Fan1", .properties = {text("Label", "x")}});
    EXPECT_EQ(space::live_blocks(), with_first);
    ASSERT_EQ(osal::freed().size(), 1U);
    EXPECT_EQ(osal::freed()[0].index, old_index);
}

TEST_F(AddedObject, IsReportedAfterTheOneThatItReplaces) {
    OBJECT_HEAD_S* const first = make_embryo({.name = "Fan1"});
    lom_add_object(first);
    const std::string freed =
        stamped_message("::::free object head " + address(first) + " Fan1, refcnt=1.::::\n");
    OBJECT_HEAD_S* const second = make_embryo({.name = "Fan1"});
    mox::test::DebugLevel level{"3"};
    const std::string output = stdout_of([&] { lom_add_object(second); });
    EXPECT_EQ(output, freed + added(second, "Fan1", "class:[Fan] pos[0]"));
}

TEST_F(AddedObject, SurvivesBeingAddedAgain) {
    add_object({.name = "Fan1", .properties = {text("Label", "x")}});
    OBJECT_HEAD_S* const record = record_of("Fan1");
    const gsize blocks = space::live_blocks();
    EXPECT_EQ(lom_add_object(record), lom_name_to_handle("Fan1"));
    EXPECT_EQ(record_of("Fan1"), record);
    EXPECT_EQ(record->ref_count, 1);
    EXPECT_EQ(space::live_blocks(), blocks);
}

class ReadyObject : public mox::test::ObjectFixture {};

TEST_F(ReadyObject, IsNormal) {
    OBJECT_HEAD_S* const record = make_embryo({.name = "Fan1"});
    lom_add_object(record);
    lom_ready_object(record);
    EXPECT_EQ(record->status, OBJECT_NORMAL);
}

TEST_F(ReadyObject, ThatIsNullIsIgnored) {
    lom_ready_object(nullptr);
}

// A record as another process would receive it: the bytes of one whose pool memory stays.
class ReceivedRecord : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        source_ = make_embryo({.name = "Fan1", .position = 5, .properties = {text("Label", "x")}});
        ASSERT_NE(source_, nullptr);
        bytes_ = *source_;
    }
    // The bytes without the heap block they came from, so that only the published copy leads to the
    // pool.
    void TearDown() override {
        g_free(source_);
        ObjectFixture::TearDown();
    }
    OBJECT_HEAD_S* source_ = nullptr;
    OBJECT_HEAD_S bytes_ = {};
};

TEST_F(ReceivedRecord, HasTheHandleOfItsName) {
    EXPECT_EQ(lom_create_object(sizeof bytes_, &bytes_), lom_name_to_handle("Fan1"));
}

TEST_F(ReceivedRecord, IsPublishedAsACopyOnTheHeap) {
    lom_create_object(sizeof bytes_, &bytes_);
    OBJECT_HEAD_S* const record = record_of("Fan1");
    ASSERT_NE(record, nullptr);
    EXPECT_NE(record, &bytes_);
    EXPECT_EQ(record->object_name, bytes_.object_name);
    EXPECT_EQ(record->position, 5U);
    EXPECT_EQ(record->property_entry, bytes_.property_entry);
    EXPECT_EQ(record->ref_count, 1);
}

TEST_F(ReceivedRecord, GetsAPropertyTableOfItsOwn) {
    lom_create_object(sizeof bytes_, &bytes_);
    EXPECT_EQ(bytes_.property_hash, nullptr);
    ASSERT_NE(record_of("Fan1")->property_hash, nullptr);
    EXPECT_EQ(_get_property_node(record_of("Fan1"), "Label"), bytes_.property_entry);
}

TEST_F(ReceivedRecord, IsRefusedWithoutBytes) {
    EXPECT_EQ(lom_create_object(sizeof bytes_, nullptr), 0);
    EXPECT_EQ(g_local_object_hashtable, nullptr);
}

TEST_F(ReceivedRecord, IsRefusedInAnyOtherSize) {
    EXPECT_EQ(lom_create_object(sizeof bytes_ - 1, &bytes_), 0);
    EXPECT_EQ(lom_create_object(sizeof bytes_ + 1, &bytes_), 0);
    EXPECT_EQ(lom_create_object(0, &bytes_), 0);
    EXPECT_EQ(g_local_object_hashtable, nullptr);
}

TEST_F(ReceivedRecord, IsRefusedWithoutAName) {
    bytes_.object_name = nullptr;
    EXPECT_EQ(lom_create_object(sizeof bytes_, &bytes_), 0);
    EXPECT_EQ(g_local_object_hashtable, nullptr);
}

class ObjectWritability : public mox::test::ObjectFixture {};

TEST_F(ObjectWritability, IsSetAndTakenBack) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_set_writable(fan, OBJECT_READ_WRITE);
    EXPECT_EQ(record_of("Fan1")->capability, OBJECT_READ_WRITE);
    lom_set_writable(fan, OBJECT_READ_ONLY);
    EXPECT_EQ(record_of("Fan1")->capability, OBJECT_READ_ONLY);
}

TEST_F(ObjectWritability, OfAnUnknownHandleIsIgnored) {
    add_object({.name = "Fan1"});
    lom_set_writable(lom_name_to_handle("Fan2"), OBJECT_READ_WRITE);
    lom_set_writable(0, OBJECT_READ_WRITE);
    lom_set_writable(G_MAXINT32, OBJECT_READ_WRITE);
    EXPECT_EQ(record_of("Fan1")->capability, OBJECT_READ_ONLY);
}

}  // namespace
