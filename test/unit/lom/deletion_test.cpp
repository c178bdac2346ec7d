// Deleting one object, and all of a position: the record goes when its last holder lets go, once.
#include <gtest/gtest.h>
#include <lom/lifecycle.h>

#include "lom/alias.hpp"
#include "lom/deletion.hpp"
#include "object_fixture.hpp"

namespace mox::test {
namespace {

std::vector<gpointer> g_destroyed;

class EndOfObjects : public ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        g_destroyed.clear();
        blocks_before_ = fake::space::live_blocks();
    }

    static void add_fan(const std::string& name, guint32 position = 3) {
        add_object({.name = name,
                    .position = position,
                    .properties = {number<guint32>("Speed", "u", 1), text("Label", "left")}});
        lom_bind_data(lom_name_to_handle(name.c_str()), record_of(name),
                      [](gpointer data) { g_destroyed.push_back(data); });
    }
    static OBJECT_HEAD_S* hold(const std::string& name) {
        return _get_object_ptr_option(name.c_str(), TRUE);
    }
    static bool is_found(const std::string& name) {
        return lom_get_object_handle(name.c_str()) != 0;
    }
    static void remove(const std::string& name) {
        lom_delete_object(lom_name_to_handle(name.c_str()));
    }

    gsize blocks_before_ = 0;
};

class Deletion : public EndOfObjects {};

TEST_F(Deletion, FreesTheRecordAndItsPoolMemory) {
    add_fan("Fan1");
    remove("Fan1");
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_FALSE(is_found("Fan1"));
    EXPECT_EQ(g_destroyed.size(), 1U);
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(Deletion, LeavesOtherObjects) {
    add_fan("Fan1");
    add_fan("Fan2");
    remove("Fan1");
    EXPECT_TRUE(is_found("Fan2"));
}

TEST_F(Deletion, OfNoObjectDoesNothing) {
    lom_delete_object(0);
    lom_delete_object(lom_name_to_handle("Fan9"));
    add_fan("Fan1");
    lom_delete_object(0);
    EXPECT_TRUE(is_found("Fan1"));
}

TEST_F(Deletion, DoesNotFetchAnObjectThatIsNotKnownHere) {
    static bool is_fetched = false;
    lom_set_copy_func([](const gchar*, gsize) -> OBJECT_HEAD_S* {
        is_fetched = true;
        return nullptr;
    });
    remove("Fan9");
    EXPECT_FALSE(is_fetched);
}

TEST_F(Deletion, TellsOfTheCountWithItsOwnLookup) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = hold("Fan1");
    const DebugLevel level{"2"};
    EXPECT_EQ(stdout_of([] { remove("Fan1"); }),
              stamped_message("::::pre delete object Fan1, ref cnt=3.::::\n"));
    _object_unref(held);
}

TEST_F(Deletion, OfAHeldObjectLeavesItFindableUntilItsHolderLetsGo) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = hold("Fan1");
    remove("Fan1");
    EXPECT_EQ(held->status, OBJECT_NORMAL);
    EXPECT_EQ(held->ref_count, 1);
    EXPECT_TRUE(is_found("Fan1"));
    EXPECT_TRUE(g_destroyed.empty());
    _object_unref(held);
    EXPECT_FALSE(is_found("Fan1"));
    EXPECT_EQ(g_destroyed.size(), 1U);
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(Deletion, AgainOfAHeldObjectTakesNothingFromItsHolder) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = hold("Fan1");
    remove("Fan1");
    remove("Fan1");
    EXPECT_EQ(held->ref_count, 1);
    EXPECT_TRUE(g_destroyed.empty());
    _object_unref(held);
    EXPECT_EQ(g_destroyed.size(), 1U);
}

TEST_F(Deletion, OfAHeldObjectLetsAnotherOfItsNameTakeItsPlace) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = hold("Fan1");
    remove("Fan1");
    add_fan("Fan1");
    EXPECT_NE(record_of("Fan1"), held);
    EXPECT_EQ(held->ref_count, 1);
    EXPECT_STREQ(held->object_name, "Fan1");
    EXPECT_TRUE(g_destroyed.empty());
    _object_unref(held);
    EXPECT_EQ(g_destroyed, std::vector<gpointer>{held});
    EXPECT_TRUE(is_found("Fan1"));
}

TEST_F(Deletion, SendsNothingAndLeavesTheClassAndTheAliases) {
    CLS_HANDLE const fan = cls_create_class("Fan");
    add_fan("Fan1");
    cls_add_object("Fan", lom_name_to_handle("Fan1"));
    ASSERT_EQ(lom_bind_alias(lom_name_to_handle("Fan1"), 7), 0);
    remove("Fan1");
    EXPECT_NE(g_hash_table_lookup(g_local_alias_hashtable, "a:Fan7"), nullptr);
    lom_unbind_alias(lom_name_to_handle("Fan1"), 7);
    EXPECT_TRUE(fake::osal::sent().empty());
    EXPECT_EQ(cls_get_object_count(fan), 1U);
    EXPECT_EQ(cls_get_state(fan), CLASS_OBJECT_ADDED);
}

TEST_F(Deletion, OfAnObjectThatAnotherStandsForEndsWithTheOther) {
    add_fan("Fan1");
    add_object({.name = "Front"});
    ASSERT_EQ(lom_set_reference("Front", "Fan1"), 0);
    remove("Fan1");
    EXPECT_TRUE(is_found("Fan1"));
    remove("Front");
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_EQ(g_destroyed.size(), 1U);
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(Deletion, InAMemberClearsItsBitAndKeepsThePoolMemory) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const fan = record_of("Fan1");
    guint32* const bitmap = fan->ref_bitmap;
    lom_set_reference_bitmap(bitmap, 5);
    lom_set_reference_bitmap(bitmap, 6);
    lom_set_bitmap_id(5);
    const gsize blocks = fake::space::live_blocks();
    OBJECT_HEAD_S copy = *fan;
    copy.property_hash = nullptr;
    become_member();
    remove("Fan1");
    EXPECT_EQ(bitmap[0], 1U << 6U);
    EXPECT_EQ(fake::space::live_blocks(), blocks);
    // The pool memory, as the owner frees it.
    become_owner();
    copy.user_data = nullptr;
    auto* const owners = g_new0(OBJECT_HEAD_S, 1);
    *owners = copy;
    _free_object_head(owners);
}

class BatchDeletion : public EndOfObjects {};

TEST_F(BatchDeletion, FreesEveryObjectOfThePosition) {
    add_fan("Fan1");
    add_fan("Fan2");
    add_fan("Fan3", 4);
    lom_batch_delete(3, nullptr);
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_EQ(record_of("Fan2"), nullptr);
    EXPECT_TRUE(is_found("Fan3"));
    EXPECT_EQ(g_destroyed.size(), 2U);
    EXPECT_EQ(fake::driver_deleted_positions(), std::vector<guint32>{3});
    lom_batch_delete(4, nullptr);
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(BatchDeletion, OfPositionZeroDoesNothing) {
    add_fan("Fan1", 0);
    lom_batch_delete(0, [](const gchar*, OBJ_HANDLE, gpointer) { FAIL(); });
    EXPECT_TRUE(is_found("Fan1"));
    EXPECT_TRUE(fake::driver_deleted_positions().empty());
}

TEST_F(BatchDeletion, BeforeThereWereObjectsDoesNothing) {
    lom_batch_delete(3, nullptr);
    EXPECT_TRUE(fake::driver_deleted_positions().empty());
}

TEST_F(BatchDeletion, ShowsEveryObjectOfAllPositionsFirst) {
    static std::map<std::string, guint> seen;
    seen.clear();
    add_fan("Fan1");
    add_fan("Fan2", 4);
    lom_batch_delete(3, [](const gchar* class_name, OBJ_HANDLE handle, gpointer position) {
        EXPECT_STREQ(class_name, "Fan");
        EXPECT_TRUE(is_found("Fan1"));
        EXPECT_TRUE(table_mutex_is_free());
        seen[lom_handle_to_name(handle)] = GPOINTER_TO_UINT(position);
    });
    EXPECT_EQ(seen, (std::map<std::string, guint>{{"Fan1", 3}, {"Fan2", 3}}));
}

TEST_F(BatchDeletion, LeavesObjectsThatAreNotReady) {
    OBJECT_HEAD_S* const embryo =
        make_embryo({.name = "Fan1", .position = 3, .properties = {number<guint32>("A", "u", 1)}});
    lom_add_object(embryo);
    lom_batch_delete(3, nullptr);
    EXPECT_EQ(record_of("Fan1"), embryo);
    EXPECT_EQ(embryo->status, OBJECT_MXD_READY);
}

TEST_F(BatchDeletion, OfAHeldObjectHidesItUntilItsHolderLetsGo) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = hold("Fan1");
    lom_batch_delete(3, nullptr);
    EXPECT_EQ(held->status, OBJECT_MARK_DEL);
    EXPECT_EQ(record_of("Fan1"), held);
    EXPECT_EQ(held->ref_count, 1);
    EXPECT_FALSE(is_found("Fan1"));
    EXPECT_TRUE(g_destroyed.empty());
    _object_unref(held);
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_EQ(g_destroyed.size(), 1U);
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(BatchDeletion, OfADeletedObjectTakesNothingFromItsHolder) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = hold("Fan1");
    remove("Fan1");
    lom_batch_delete(3, nullptr);
    lom_batch_delete(3, nullptr);
    EXPECT_EQ(held->status, OBJECT_MARK_DEL);
    EXPECT_EQ(held->ref_count, 1);
    _object_unref(held);
    EXPECT_EQ(g_destroyed.size(), 1U);
}

TEST_F(BatchDeletion, OfAHeldObjectLetsAnotherOfItsNameTakeItsPlace) {
    add_fan("Fan1");
    OBJECT_HEAD_S* const held = hold("Fan1");
    lom_batch_delete(3, nullptr);
    add_fan("Fan1");
    EXPECT_TRUE(is_found("Fan1"));
    EXPECT_TRUE(g_destroyed.empty());
    _object_unref(held);
    EXPECT_EQ(g_destroyed, std::vector<gpointer>{held});
}

TEST_F(BatchDeletion, TakesObjectsThatStandForEachOtherTogether) {
    add_fan("Fan1");
    add_object({.name = "Front", .position = 3});
    ASSERT_EQ(lom_set_reference("Front", "Fan1"), 0);
    lom_batch_delete(3, nullptr);
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_EQ(record_of("Front"), nullptr);
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

// The object that stood for it held the last reference, and left it in the table.
TEST_F(BatchDeletion, TakesAnObjectWhoseReferencesAreAllGone) {
    add_fan("Fan1");
    add_object({.name = "Front", .position = 4});
    ASSERT_EQ(lom_set_reference("Front", "Fan1"), 0);
    delete_object("Fan1");
    delete_object("Front");
    ASSERT_EQ(record_of("Fan1")->ref_count, 0);
    lom_batch_delete(3, nullptr);
    EXPECT_EQ(record_of("Fan1"), nullptr);
    EXPECT_EQ(g_destroyed.size(), 1U);
    EXPECT_EQ(fake::space::live_blocks(), blocks_before_);
}

TEST_F(BatchDeletion, LetsBoundDataLookIntoTheTableAsItEnds) {
    static guint found = 0;
    found = 0;
    for (const char* const name : {"Fan1", "Fan2"}) {
        add_object({.name = name, .position = 3});
        lom_bind_data(lom_name_to_handle(name), record_of(name), [](gpointer) {
            found += is_found("Fan1") || is_found("Fan2") || !is_found("Fan3") ? 1U : 0U;
            remove("Fan4");
        });
    }
    add_fan("Fan3", 4);
    add_fan("Fan4", 4);
    lom_batch_delete(3, nullptr);
    EXPECT_EQ(found, 0U);
    EXPECT_FALSE(is_found("Fan4"));
}

}  // namespace
}  // namespace mox::test
