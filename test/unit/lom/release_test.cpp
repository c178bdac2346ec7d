// Dropping references, and what is freed with the last one.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;
using mox::test::add_object;
using mox::test::become_member;
using mox::test::become_owner;
using mox::test::delete_object;
using mox::test::make_embryo;
using mox::test::number;
using mox::test::record_of;

std::string free_message(const void* record, const std::string& name_and_count) {
    char address[32];
    std::snprintf(address, sizeof address, "%p", record);
    return mox::test::stamped_message("::::free object head " + std::string(address) + " " +
                                      name_and_count + ".::::\n");
}

class Unreference : public mox::test::ObjectFixture {};

TEST_F(Unreference, OfNoRecordDoesNothing) {
    _object_unref(nullptr);
}

TEST_F(Unreference, DropsOneReferenceOfSeveral) {
    add_object({.name = "Fan1"});
    OBJECT_HEAD_S* const fan = record_of("Fan1");
    fan->ref_count = 3;
    _object_unref(fan);
    EXPECT_EQ(fan->ref_count, 2);
    EXPECT_EQ(record_of("Fan1"), fan);
    fan->ref_count = 1;
}

TEST_F(Unreference, OfARecordWithoutReferencesDoesNothing) {
    add_object({.name = "Fan1"});
    OBJECT_HEAD_S* const fan = record_of("Fan1");
    for (const gint32 count : {0, -1}) {
        fan->ref_count = count;
        _object_unref(fan);
        EXPECT_EQ(fan->ref_count, count);
        EXPECT_EQ(record_of("Fan1"), fan);
    }
    fan->ref_count = 1;
}

TEST_F(Unreference, OfTheLastReferenceTakesTheRecordOutOfTheTable) {
    add_object({.name = "Fan1"});
    add_object({.name = "Fan2"});
    _object_unref(record_of("Fan1"));
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_NE(record_of("Fan2"), nullptr);
}

TEST_F(Unreference, OfTheLastReferenceLeavesNothingInThePool) {
    add_object({.name = "Fan1",
                .mutex_object = "Bus1",
                .properties = {number<guint32>("Speed", "u", 7, "rw", "Accessor1"),
                               mox::test::text("Label", "x"),
                               {"Names", "as", {'a', 0, 2}}}});
    _object_unref(record_of("Fan1"));
    EXPECT_EQ(space::live_blocks(), 0U);
}

TEST_F(Unreference, OfTheLastReferenceIsReportedWithACountOf0) {
    add_object({.name = "Fan1"});
    const std::string message = free_message(record_of("Fan1"), "Fan1, refcnt=0");
    mox::test::DebugLevel level{"3"};
    EXPECT_EQ(mox::test::stdout_of([] { delete_object("Fan1"); }), message);
}

TEST_F(Unreference, IsReportedAtDetailOnly) {
    add_object({.name = "Fan1"});
    mox::test::DebugLevel level{"2"};
    EXPECT_EQ(mox::test::stdout_of([] { delete_object("Fan1"); }), "");
}

TEST_F(Unreference, OfARecordThatIsHeldLeavesItToItsHolder) {
    add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 7)}});
    OBJECT_HEAD_S* const held = _get_object_ptr_option("Fan1", TRUE);
    delete_object("Fan1");
    EXPECT_STREQ(held->object_name, "Fan1");
    EXPECT_EQ(_get_property_node(held, "Speed"), held->property_entry);
    _object_unref(held);
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_EQ(space::live_blocks(), 0U);
}

TEST_F(Unreference, LeavesTheTableFreeAndTakesNoSemaphore) {
    add_object({.name = "Fan1"});
    delete_object("Fan1");
    EXPECT_TRUE(mox::test::table_mutex_is_free());
    EXPECT_EQ(osal::takes(), 0U);
}

// What is seen when bound data is destroyed.
struct Destroyed {
    int calls = 0;
    gpointer data = nullptr;
    gsize live_blocks = 0;
    gsize semaphores_held = 0;
    gsize semaphores_freed = 0;
};
Destroyed g_destroyed;

void destroy(gpointer data) {
    ++g_destroyed.calls;
    g_destroyed.data = data;
    g_destroyed.live_blocks = space::live_blocks();
    g_destroyed.semaphores_held = osal::held();
    g_destroyed.semaphores_freed = osal::freed().size();
}

class FreedRecord : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        g_destroyed = {};
    }
    int data_ = 0;
};

TEST_F(FreedRecord, ThatIsNullIsIgnored) {
    _free_object_head(nullptr);
}

TEST_F(FreedRecord, FreesItsSemaphoreByIndexAndMember) {
    add_object({.name = "Fan1"});
    add_object({.name = "Fan2"});
    const OBJECT_HEAD_S fan = *record_of("Fan2");
    delete_object("Fan2");
    ASSERT_EQ(osal::freed().size(), 1U);
    EXPECT_EQ(osal::freed()[0].index, fan.sem_index);
    EXPECT_EQ(osal::freed()[0].member, fan.sem_member);
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
}

TEST_F(FreedRecord, DestroysItsDataOnceAfterEverythingInThePoolWithNoSemaphoreHeld) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_data(fan, &data_, destroy);
    delete_object("Fan1");
    EXPECT_EQ(g_destroyed.calls, 1);
    EXPECT_EQ(g_destroyed.data, &data_);
    EXPECT_EQ(g_destroyed.live_blocks, 0U);
    EXPECT_EQ(g_destroyed.semaphores_freed, 1U);
    EXPECT_EQ(g_destroyed.semaphores_held, 0U);
}

TEST_F(FreedRecord, WithAFunctionButNoDataDestroysNothing) {
    add_object({.name = "Fan1"});
    record_of("Fan1")->destroy_func = destroy;
    delete_object("Fan1");
    EXPECT_EQ(g_destroyed.calls, 0);
}

TEST_F(FreedRecord, WithDataButNoFunctionLeavesTheDataAlone) {
    const OBJ_HANDLE fan = add_object({.name = "Fan1"});
    lom_bind_data(fan, &data_, nullptr);
    delete_object("Fan1");
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_EQ(g_destroyed.calls, 0);
}

TEST_F(FreedRecord, ThatRefersToAnotherLowersItsCountByOneAndTouchesNothingElseOfIt) {
    add_object({.name = "Main", .properties = {mox::test::text("Label", "m")}});
    add_object({.name = "Spare"});
    ASSERT_EQ(lom_set_reference("Spare", "Main"), MOX_OK);
    const gsize freed = osal::freed().size();
    const OBJECT_HEAD_S before = *record_of("Main");
    delete_object("Spare");
    const OBJECT_HEAD_S* const main = record_of("Main");
    EXPECT_EQ(main->ref_count, before.ref_count - 1);
    EXPECT_EQ(main->property_hash, before.property_hash);
    EXPECT_TRUE(space::is_live(main->property_entry));
    EXPECT_TRUE(space::is_live(main->property_entry->data));
    EXPECT_TRUE(space::is_live(main->name_list));
    EXPECT_EQ(osal::freed().size(), freed);
}

TEST_F(FreedRecord, ThatHeldTheLastReferenceOnAnotherLeavesThatInTheTable) {
    add_object({.name = "Main"});
    add_object({.name = "Spare"});
    ASSERT_EQ(lom_set_reference("Spare", "Main"), MOX_OK);
    delete_object("Main");
    delete_object("Spare");
    ASSERT_NE(record_of("Main"), nullptr);
    EXPECT_EQ(record_of("Main")->ref_count, 0);
    record_of("Main")->ref_count = 1;
}

TEST_F(FreedRecord, ThatRefersToAnotherDestroysItsOwnData) {
    add_object({.name = "Main"});
    const OBJ_HANDLE spare = add_object({.name = "Spare"});
    lom_bind_data(spare, &data_, destroy);
    ASSERT_EQ(lom_set_reference("Spare", "Main"), MOX_OK);
    EXPECT_EQ(g_destroyed.calls, 0);
    delete_object("Spare");
    EXPECT_EQ(g_destroyed.calls, 1);
}

TEST_F(FreedRecord, GivesItsMemoryBackOnceAlsoWhenItNeverWasPublished) {
    _free_object_head(make_embryo({.name = "Fan1", .properties = {mox::test::text("Label", "m")}}));
    EXPECT_EQ(space::live_blocks(), 0U);
}

// A record in a process that holds a copy: the pool memory is the owner's.
class FreedCopy : public FreedRecord {
protected:
    void SetUp() override {
        FreedRecord::SetUp();
        add_object({.name = "Fan1", .properties = {mox::test::text("Label", "m")}});
        owners_ = *record_of("Fan1");
        for (const gint32 id : {4, 5, 70}) lom_set_reference_bitmap(owners_.ref_bitmap, id);
        blocks_ = space::live_blocks();
        lom_set_bitmap_id(5);
        become_member();
    }
    void TearDown() override {
        become_owner();
        FreedRecord::TearDown();
    }
    OBJECT_HEAD_S owners_ = {};
    gsize blocks_ = 0;
};

TEST_F(FreedCopy, ClearsItsOwnBitOnly) {
    delete_object("Fan1");
    EXPECT_EQ(owners_.ref_bitmap[0], 0x10U);
    EXPECT_EQ(owners_.ref_bitmap[2], 0x40U);
}

TEST_F(FreedCopy, GivesNothingBackToThePool) {
    delete_object("Fan1");
    EXPECT_EQ(space::live_blocks(), blocks_);
    EXPECT_EQ(space::releases(), 0U);
    EXPECT_EQ(std::string(static_cast<const char*>(owners_.property_entry->data)), "m");
    EXPECT_STREQ(owners_.object_name, "Fan1");
}

TEST_F(FreedCopy, LeavesTheSemaphore) {
    delete_object("Fan1");
    EXPECT_TRUE(osal::freed().empty());
}

TEST_F(FreedCopy, DropsItsPropertyTable) {
    GHashTable* const table = g_hash_table_ref(owners_.property_hash);
    delete_object("Fan1");
    // A table whose other reference is gone still has its entries: it was not destroyed but let go.
    EXPECT_EQ(g_hash_table_size(table), 1U);
    g_hash_table_unref(table);
}

TEST_F(FreedCopy, DestroysItsData) {
    record_of("Fan1")->user_data = &data_;
    record_of("Fan1")->destroy_func = destroy;
    delete_object("Fan1");
    EXPECT_EQ(g_destroyed.calls, 1);
}

TEST_F(FreedCopy, ThatNeverWasPublishedHasNoPropertyTableToDrop) {
    g_hash_table_destroy(std::exchange(record_of("Fan1")->property_hash, nullptr));
    delete_object("Fan1");
    EXPECT_EQ(record_of("Fan1"), nullptr);
}

class RecordResources : public mox::test::ObjectFixture {};

TEST_F(RecordResources, GoBackToThePoolButForTheBitmap) {
    OBJECT_HEAD_S* const embryo = make_embryo(
        {.name = "Fan1",
         .properties = {mox::test::text("Label", "m"), number<guint32>("Speed", "u", 7)}});
    _free_object_resource(embryo);
    EXPECT_EQ(space::live_blocks(), 1U);
    EXPECT_TRUE(space::is_live(embryo->ref_bitmap));
    EXPECT_EQ(embryo->property_entry, nullptr);
    EXPECT_EQ(embryo->name_list, nullptr);
    g_free(embryo);
}

TEST_F(RecordResources, TakeThePropertyTableWithThem) {
    add_object({.name = "Fan1", .properties = {number<guint32>("Speed", "u", 7)}});
    OBJECT_HEAD_S* const fan = record_of("Fan1");
    GHashTable* const table = g_hash_table_ref(fan->property_hash);
    gpointer key = nullptr;
    g_hash_table_steal_extended(g_local_object_hashtable, "Fan1", &key, nullptr);
    mox::free_table_key(key);
    _free_object_resource(fan);
    EXPECT_EQ(fan->property_hash, nullptr);
    EXPECT_EQ(g_hash_table_size(table), 0U);
    g_hash_table_unref(table);
    g_free(fan);
}

gsize g_blocks_at_hook = 0;

TEST_F(RecordResources, EndWithTheSemaphore) {
    OBJECT_HEAD_S* const embryo =
        make_embryo({.name = "Fan1", .properties = {mox::test::text("A", "m")}});
    lom_set_sem_func(osal_process_sem_create, [](gint32 index, gint32 member) {
        g_blocks_at_hook = space::live_blocks();
        osal_process_sem_free(index, member);
    });
    _free_object_resource(embryo);
    EXPECT_EQ(g_blocks_at_hook, 1U);
    EXPECT_EQ(osal::freed().size(), 1U);
    g_free(embryo);
}

TEST_F(RecordResources, OfARecordThatSharesASemaphoreLeaveItAlone) {
    OBJECT_HEAD_S* const embryo = make_embryo({.name = "Fan1", .mutex_object = "Bus1"});
    _free_object_resource(embryo);
    EXPECT_TRUE(osal::freed().empty());
    g_free(embryo);
}

TEST_F(RecordResources, OfARecordThatRefersToAnotherAreNotItsOwn) {
    OBJECT_HEAD_S* const embryo = make_embryo({.name = "Fan1"});
    const gsize blocks = space::live_blocks();
    embryo->refered_object = embryo;
    _free_object_resource(embryo);
    EXPECT_EQ(space::live_blocks(), blocks);
    EXPECT_TRUE(osal::freed().empty());
    embryo->refered_object = nullptr;
    _free_object_head(embryo);
}

TEST_F(RecordResources, AreNotAnotherProcessesToGiveBack) {
    OBJECT_HEAD_S* const embryo = make_embryo({.name = "Fan1"});
    become_member();
    _free_object_resource(embryo);
    become_owner();
    EXPECT_NE(embryo->name_list, nullptr);
    EXPECT_TRUE(osal::freed().empty());
    _free_object_head(embryo);
}

CLASS_OBJECT_LIST_S* name_node(const gchar* name, CLASS_OBJECT_LIST_S* next) {
    auto* const node = static_cast<CLASS_OBJECT_LIST_S*>(shm_alloc0(sizeof(CLASS_OBJECT_LIST_S)));
    node->class_name = shm_strdup(name, 32);
    node->object_name = shm_strdup(name, 32);
    node->next = next;
    return node;
}

class NameList : public mox::test::ObjectFixture {};

TEST_F(NameList, IsFreedWithAllItsNamesToItsEnd) {
    _free_object_namelist(name_node("A", name_node("B", name_node("C", nullptr))));
    EXPECT_EQ(space::live_blocks(), 0U);
    EXPECT_EQ(space::releases(), 9U);
}

TEST_F(NameList, ThatIsEmptyIsIgnored) {
    _free_object_namelist(nullptr);
    EXPECT_EQ(space::releases(), 0U);
}

TEST_F(NameList, WithoutNamesIsFreed) {
    _free_object_namelist(name_node(nullptr, nullptr));
    EXPECT_EQ(space::live_blocks(), 0U);
}

}  // namespace
