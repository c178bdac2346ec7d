// A record that another one of the same name replaces while somebody still holds it.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;
using mox::test::add_object;
using mox::test::bytes_of;
using mox::test::delete_object;
using mox::test::number;
using mox::test::record_of;
using mox::test::stored_bytes;

std::vector<gpointer> g_destroyed;

void add_version(guint32 version) {
    add_object(
        {.name = "Fan1",
         .position = version,
         .properties = {number("Speed", "u", version), mox::test::text("Label", "some text")}});
}

class ReplacedRecord : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        g_destroyed.clear();
        add_version(1);
        blocks_of_one_ = space::live_blocks();
        lom_bind_data(lom_name_to_handle("Fan1"), &data_,
                      [](gpointer data) { g_destroyed.push_back(data); });
    }
    static OBJECT_HEAD_S* hold() { return _get_object_ptr_option("Fan1", TRUE); }

    gsize blocks_of_one_ = 0;
    int data_ = 0;
};

TEST_F(ReplacedRecord, StaysWholeForItsHolder) {
    OBJECT_HEAD_S* const held = hold();
    add_version(2);
    EXPECT_STREQ(held->object_name, "Fan1");
    EXPECT_EQ(held->position, 1U);
    SERIALISED_PROPERTY_S* const speed = _get_property_node(held, "Speed");
    ASSERT_NE(speed, nullptr);
    EXPECT_EQ(stored_bytes(*speed), bytes_of<guint32>(1));
    EXPECT_EQ(space::live_blocks(), 2 * blocks_of_one_);
    EXPECT_TRUE(osal::freed().empty());
    EXPECT_TRUE(g_destroyed.empty());
    _object_unref(held);
}

TEST_F(ReplacedRecord, KeepsOnlyTheReferencesOfItsHolders) {
    OBJECT_HEAD_S* const first = hold();
    OBJECT_HEAD_S* const second = hold();
    add_version(2);
    EXPECT_EQ(first->ref_count, 2);
    _object_unref(first);
    _object_unref(second);
}

TEST_F(ReplacedRecord, IsNoLongerFound) {
    OBJECT_HEAD_S* const held = hold();
    add_version(2);
    EXPECT_NE(record_of("Fan1"), held);
    EXPECT_EQ(lom_get_position(lom_name_to_handle("Fan1")), 2U);
    _object_unref(held);
}

TEST_F(ReplacedRecord, IsFreedWhenItsHolderLetsGo) {
    OBJECT_HEAD_S* const held = hold();
    const gint32 index = held->sem_index;
    add_version(2);
    _object_unref(held);
    EXPECT_EQ(space::live_blocks(), blocks_of_one_);
    ASSERT_EQ(osal::freed().size(), 1U);
    EXPECT_EQ(osal::freed()[0].index, index);
    EXPECT_EQ(g_destroyed, (std::vector<gpointer>{&data_}));
}

TEST_F(ReplacedRecord, IsFreedWhenTheLastOfSeveralHoldersLetsGo) {
    OBJECT_HEAD_S* const first = hold();
    OBJECT_HEAD_S* const second = hold();
    add_version(2);
    _object_unref(first);
    EXPECT_EQ(space::live_blocks(), 2 * blocks_of_one_);
    _object_unref(second);
    EXPECT_EQ(space::live_blocks(), blocks_of_one_);
    EXPECT_EQ(g_destroyed.size(), 1U);
}

TEST_F(ReplacedRecord, IsFreedAtOnceWhenNobodyHoldsIt) {
    add_version(2);
    EXPECT_EQ(space::live_blocks(), blocks_of_one_);
    EXPECT_EQ(g_destroyed, (std::vector<gpointer>{&data_}));
}

TEST_F(ReplacedRecord, LeavesTheTableToItsSuccessorWhenItIsFreed) {
    OBJECT_HEAD_S* const held = hold();
    add_version(2);
    OBJECT_HEAD_S* const successor = record_of("Fan1");
    _object_unref(held);
    EXPECT_EQ(record_of("Fan1"), successor);
    EXPECT_EQ(successor->ref_count, 1);
    EXPECT_EQ(stored_bytes(mox::test::property_of("Fan1", "Speed")), bytes_of<guint32>(2));
}

TEST_F(ReplacedRecord, OutlivesASuccessorThatIsDeleted) {
    OBJECT_HEAD_S* const held = hold();
    add_version(2);
    delete_object("Fan1");
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_EQ(held->position, 1U);
    EXPECT_EQ(space::live_blocks(), blocks_of_one_);
    _object_unref(held);
    EXPECT_EQ(space::live_blocks(), 0U);
}

TEST_F(ReplacedRecord, IsOneOfManyThatAreHeldAndFreedInAnyOrder) {
    std::vector<OBJECT_HEAD_S*> held;
    for (guint32 version = 2; version < 6; ++version) {
        held.push_back(hold());
        add_version(version);
    }
    EXPECT_EQ(space::live_blocks(), 5 * blocks_of_one_);
    for (const std::size_t at : {1U, 3U, 0U, 2U}) {
        EXPECT_EQ(held[at]->position, at + 1);
        _object_unref(held[at]);
    }
    EXPECT_EQ(space::live_blocks(), blocks_of_one_);
    EXPECT_EQ(osal::freed().size(), 4U);
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
}

TEST_F(ReplacedRecord, StaysWholeForATraversal) {
    lom_foreach_object(
        [](const gchar* class_name, OBJ_HANDLE, gpointer) {
            add_version(2);
            EXPECT_STREQ(class_name, "Fan");
            EXPECT_TRUE(g_destroyed.empty());
        },
        nullptr);
    EXPECT_EQ(g_destroyed.size(), 1U);
    EXPECT_EQ(space::live_blocks(), blocks_of_one_);
}

TEST_F(ReplacedRecord, StaysWholeForTheCallThatBindsDataToIt) {
    const OBJ_HANDLE fan = lom_name_to_handle("Fan1");
    int other = 0;
    lom_bind_data(fan, &other, [](gpointer) { add_version(2); });
    g_destroyed.clear();
    EXPECT_EQ(lom_bind_data(fan, &data_, [](gpointer data) { g_destroyed.push_back(data); }),
              MOX_OK);
    EXPECT_EQ(g_destroyed, (std::vector<gpointer>{&data_}));
    EXPECT_EQ(lom_get_position(fan), 2U);
    EXPECT_EQ(osal::held(), 0U);
}

TEST_F(ReplacedRecord, StaysWholeForAnObjectThatRefersToIt) {
    add_object({.name = "Spare"});
    ASSERT_EQ(lom_set_reference("Spare", "Fan1"), MOX_OK);
    OBJECT_HEAD_S* const replaced = record_of("Fan1");
    add_version(2);
    EXPECT_EQ(record_of("Spare")->refered_object, replaced);
    EXPECT_EQ(stored_bytes(mox::test::property_of("Spare", "Speed")), bytes_of<guint32>(1));
    EXPECT_EQ(replaced->ref_count, 1);
}

TEST_F(ReplacedRecord, IsFreedWithTheLastObjectThatRefersToIt) {
    add_object({.name = "Spare"});
    ASSERT_EQ(lom_set_reference("Spare", "Fan1"), MOX_OK);
    add_version(2);
    delete_object("Spare");
    EXPECT_EQ(space::live_blocks(), blocks_of_one_);
    EXPECT_EQ(g_destroyed, (std::vector<gpointer>{&data_}));
}

TEST_F(ReplacedRecord, ThatWasLeftInTheTableByItsLastReferrerIsFreedAtOnce) {
    add_object({.name = "Spare"});
    ASSERT_EQ(lom_set_reference("Spare", "Fan1"), MOX_OK);
    delete_object("Fan1");
    delete_object("Spare");
    ASSERT_NE(record_of("Fan1"), nullptr);
    EXPECT_TRUE(g_destroyed.empty());
    add_version(2);
    EXPECT_EQ(g_destroyed, (std::vector<gpointer>{&data_}));
    EXPECT_EQ(space::live_blocks(), blocks_of_one_);
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
}

// The last reference is dropped before the table's mutex is taken: a replacement may come in
// between.
TEST_F(ReplacedRecord, WhoseLastReferenceIsJustBeingDroppedIsLeftToTheDropper) {
    OBJECT_HEAD_S* const first = record_of("Fan1");
    g_rec_mutex_lock(&g_obj_hash_mutex);
    std::thread dropper([first] { _object_unref(first); });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (g_atomic_int_get(&first->ref_count) != 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    add_version(2);
    EXPECT_TRUE(osal::freed().empty()) << "freed under the thread that drops it";
    g_rec_mutex_unlock(&g_obj_hash_mutex);
    dropper.join();
    EXPECT_EQ(osal::freed().size(), 1U);
    EXPECT_EQ(space::live_blocks(), blocks_of_one_);
    EXPECT_EQ(lom_get_position(lom_name_to_handle("Fan1")), 2U);
}

}  // namespace
