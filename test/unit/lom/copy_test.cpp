// Copies of records for other processes, and the hooks through which those are reached.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "lom/hooks.hpp"
#include "object_fixture.hpp"

namespace {

namespace space = mox::fake::space;
using mox::test::add_object;
using mox::test::number;
using mox::test::record_of;

// What lom_copy_object gave; frees the record.
struct Copy {
    explicit Copy(const gchar* name, gint32 module_id = 3, gboolean isowner = FALSE) {
        result = lom_copy_object(name, &size, &info, module_id, isowner);
    }
    ~Copy() { g_free(info); }
    Copy(const Copy&) = delete;
    Copy& operator=(const Copy&) = delete;
    const OBJECT_HEAD_S& record() const { return *static_cast<const OBJECT_HEAD_S*>(info); }

    gint32 result = 0;
    guint32 size = 0;
    gpointer info = nullptr;
};

class ObjectCopy : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        add_object(
            {.name = "Fan1",
             .position = 42,
             .properties = {number<guint32>("Speed", "u", 7), mox::test::text("Label", "x")}});
    }
    int module_ = 0;
    int data_ = 0;
};

TEST_F(ObjectCopy, NeedsANameASizeAndAPlaceForTheRecord) {
    guint32 size = 5;
    gpointer info = this;
    EXPECT_EQ(lom_copy_object(nullptr, &size, &info, 3, FALSE), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(lom_copy_object("Fan1", nullptr, &info, 3, FALSE), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(lom_copy_object("Fan1", &size, nullptr, 3, FALSE), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(size, 5U);
    EXPECT_EQ(info, this);
    EXPECT_EQ(record_of("Fan1")->ref_bitmap[0], 0U);
}

TEST_F(ObjectCopy, OfAnUnknownObjectIsNotFound) {
    EXPECT_EQ(Copy("Fan2").result, MOX_ERR_OBJECT_NOT_FOUND);
}

TEST_F(ObjectCopy, OfAnObjectUnderConstructionIsNotFound) {
    record_of("Fan1")->status = OBJECT_MXD_READY;
    const Copy copy("Fan1");
    EXPECT_EQ(copy.result, MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_EQ(copy.info, nullptr);
    EXPECT_EQ(record_of("Fan1")->ref_bitmap[0], 0U);
}

TEST_F(ObjectCopy, OfAnObjectThatIsMarkedDeletedIsNotFound) {
    record_of("Fan1")->status = OBJECT_MARK_DEL;
    EXPECT_EQ(Copy("Fan1").result, MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_EQ(record_of("Fan1")->ref_bitmap[0], 0U);
}

int g_fetches = 0;

TEST_F(ObjectCopy, IsMadeOfObjectsOfThisProcessOnly) {
    g_fetches = 0;
    lom_set_copy_func([](const gchar*, gsize) -> OBJECT_HEAD_S* {
        ++g_fetches;
        return nullptr;
    });
    Copy("Fan2");
    EXPECT_EQ(g_fetches, 0);
}

TEST_F(ObjectCopy, IsARecordOfItsOwnOnTheHeap) {
    const Copy copy("Fan1");
    EXPECT_EQ(copy.result, MOX_OK);
    EXPECT_EQ(copy.size, sizeof(OBJECT_HEAD_S));
    ASSERT_NE(copy.info, nullptr);
    EXPECT_NE(copy.info, record_of("Fan1"));
    EXPECT_FALSE(space::is_live(copy.info));
}

TEST_F(ObjectCopy, LeadsToTheSamePoolMemory) {
    const Copy copy("Fan1");
    ASSERT_EQ(copy.result, MOX_OK);
    const OBJECT_HEAD_S* const fan = record_of("Fan1");
    EXPECT_EQ(copy.record().object_name, fan->object_name);
    EXPECT_EQ(copy.record().class_name, fan->class_name);
    EXPECT_EQ(copy.record().mutex_obj_name, fan->mutex_obj_name);
    EXPECT_EQ(copy.record().ref_bitmap, fan->ref_bitmap);
    EXPECT_EQ(copy.record().property_entry, fan->property_entry);
    EXPECT_EQ(copy.record().name_list, fan->name_list);
}

TEST_F(ObjectCopy, HasTheSameTypeModulePositionSemaphoreAndCount) {
    record_of("Fan1")->type = OBJECT_TYPE_PHYSICAL;
    lom_set_module(lom_name_to_handle("Fan1"), &module_);
    const Copy copy("Fan1");
    record_of("Fan1")->type = OBJECT_TYPE_LOGICAL;
    ASSERT_EQ(copy.result, MOX_OK);
    const OBJECT_HEAD_S* const fan = record_of("Fan1");
    EXPECT_EQ(copy.record().type, OBJECT_TYPE_PHYSICAL);
    EXPECT_EQ(copy.record().module, &module_);
    EXPECT_EQ(copy.record().position, 42U);
    EXPECT_EQ(copy.record().sem_index, fan->sem_index);
    EXPECT_EQ(copy.record().semid, fan->semid);
    EXPECT_EQ(copy.record().sem_member, fan->sem_member);
    EXPECT_EQ(copy.record().property_count, 2U);
    EXPECT_EQ(copy.record().status, OBJECT_NORMAL);
}

TEST_F(ObjectCopy, HasNothingThatIsLocalToTheOwner) {
    ASSERT_EQ(lom_bind_data(lom_name_to_handle("Fan1"), &data_, [](gpointer) {}), MOX_OK);
    const Copy copy("Fan1");
    ASSERT_EQ(copy.result, MOX_OK);
    EXPECT_EQ(copy.record().user_data, nullptr);
    EXPECT_EQ(copy.record().destroy_func, nullptr);
    EXPECT_EQ(copy.record().property_hash, nullptr);
    EXPECT_EQ(copy.record().refered_object, nullptr);
}

TEST_F(ObjectCopy, BeginsWithOneReferenceHoweverManyTheOwnerHas) {
    OBJECT_HEAD_S* const held = _get_object_ptr_option("Fan1", TRUE);
    const Copy copy("Fan1");
    EXPECT_EQ(copy.record().ref_count, 1);
    EXPECT_EQ(held->ref_count, 2);
    _object_unref(held);
}

TEST_F(ObjectCopy, ForAnOtherModuleIsReadOnlyThoughTheOwnersIsWritable) {
    lom_set_writable(lom_name_to_handle("Fan1"), OBJECT_READ_WRITE);
    EXPECT_EQ(Copy("Fan1", 3, FALSE).record().capability, OBJECT_READ_ONLY);
}

TEST_F(ObjectCopy, ForTheObjectsOwnModuleIsWritableThoughTheOwnersIsNot) {
    EXPECT_EQ(Copy("Fan1", 3, TRUE).record().capability, OBJECT_READ_WRITE);
    EXPECT_EQ(record_of("Fan1")->capability, OBJECT_READ_ONLY);
}

TEST_F(ObjectCopy, SetsTheBitOfItsModule) {
    Copy("Fan1", 3);
    Copy("Fan1", 127);
    const guint32* const bitmap = record_of("Fan1")->ref_bitmap;
    EXPECT_EQ(bitmap[0], 0x8U);
    EXPECT_EQ(bitmap[1] | bitmap[2], 0U);
    EXPECT_EQ(bitmap[3], 0x80000000U);
}

TEST_F(ObjectCopy, SetsNoBitForAModuleIdOutside1To127) {
    for (const gint32 id : {0, 128, -1}) EXPECT_EQ(Copy("Fan1", id).result, MOX_OK);
    for (int word = 0; word < 4; ++word) EXPECT_EQ(record_of("Fan1")->ref_bitmap[word], 0U);
}

TEST_F(ObjectCopy, OfAReferringObjectIsAPlainObjectWithTheReferredProperties) {
    add_object({.name = "Spare"});
    ASSERT_EQ(lom_set_reference("Spare", "Fan1"), MOX_OK);
    const Copy copy("Spare");
    ASSERT_EQ(copy.result, MOX_OK);
    EXPECT_EQ(copy.record().refered_object, nullptr);
    EXPECT_EQ(copy.record().property_entry, record_of("Fan1")->property_entry);
    EXPECT_STREQ(copy.record().object_name, "Spare");
    EXPECT_EQ(record_of("Spare")->refered_object, record_of("Fan1"));
}

TEST_F(ObjectCopy, TakesNeitherASemaphoreNorPoolMemory) {
    const gsize allocations = space::allocations();
    Copy("Fan1");
    EXPECT_EQ(mox::fake::osal::takes(), 0U);
    EXPECT_EQ(space::allocations(), allocations);
}

// The owner's side is put aside, then this process plays the receiver.
TEST_F(ObjectCopy, IsReadByItsReceiverAndGivesOnlyItsBitBack) {
    const Copy copy("Fan1", 5);
    OBJECT_HEAD_S* const owners = record_of("Fan1");
    GHashTable* const owners_table = std::exchange(g_local_object_hashtable, nullptr);
    const gsize blocks = space::live_blocks();
    mox::test::become_member();
    lom_set_bitmap_id(5);
    lom_create_object(copy.size, copy.info);
    EXPECT_NE(record_of("Fan1")->property_hash, owners->property_hash);
    EXPECT_EQ(_get_property_node(record_of("Fan1"), "Speed"), owners->property_entry);
    EXPECT_EQ(owners->ref_bitmap[0], 0x20U);
    mox::test::delete_object("Fan1");
    EXPECT_EQ(owners->ref_bitmap[0], 0U);
    EXPECT_EQ(space::live_blocks(), blocks);
    mox::test::forget_objects();
    mox::test::become_owner();
    g_local_object_hashtable = owners_table;
}

// A list of handles and what lom_list_to_rpc made of it.
class RecordList : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        add_object({.name = "Fan1", .position = 1});
        add_object({.name = "Fan2", .position = 2});
    }
    void TearDown() override {
        g_slist_free_full(records_, g_free);
        g_slist_free(handles_);
        ObjectFixture::TearDown();
    }
    gint32 convert(const std::vector<std::string>& names, gint32 module_id = 3) {
        for (const std::string& name : names) {
            handles_ = g_slist_append(handles_, GINT_TO_POINTER(lom_name_to_handle(name.c_str())));
        }
        return lom_list_to_rpc(handles_, module_id, &records_);
    }
    const RPC_DATA_S* record(guint index) {
        return static_cast<const RPC_DATA_S*>(g_slist_nth_data(records_, index));
    }
    OBJECT_HEAD_S object(guint index) {
        OBJECT_HEAD_S head;
        std::memcpy(&head, record(index)->data, sizeof head);
        return head;
    }
    GSList* handles_ = nullptr;
    GSList* records_ = nullptr;
};

TEST_F(RecordList, NeedsAPlaceForTheResult) {
    EXPECT_EQ(lom_list_to_rpc(nullptr, 3, nullptr), MOX_ERR_BAD_ARGUMENT);
}

TEST_F(RecordList, OfNoHandlesIsEmpty) {
    GSList stale = {};
    GSList* records = &stale;
    EXPECT_EQ(lom_list_to_rpc(nullptr, 3, &records), MOX_OK);
    EXPECT_EQ(records, nullptr);
}

TEST_F(RecordList, HasTheObjectsInTheHandlesOrder) {
    EXPECT_EQ(convert({"Fan2", "Fan1"}), MOX_OK);
    ASSERT_EQ(g_slist_length(records_), 2U);
    EXPECT_EQ(object(0).position, 2U);
    EXPECT_EQ(object(1).position, 1U);
}

TEST_F(RecordList, HasUntypedRecordsOfWritableCopies) {
    ASSERT_EQ(convert({"Fan1"}), MOX_OK);
    EXPECT_EQ(record(0)->size, sizeof(OBJECT_HEAD_S));
    EXPECT_STREQ(record(0)->type, "");
    EXPECT_EQ(object(0).object_name, record_of("Fan1")->object_name);
    EXPECT_EQ(object(0).capability, OBJECT_READ_WRITE);
    EXPECT_EQ(object(0).ref_count, 1);
    EXPECT_EQ(object(0).property_hash, nullptr);
}

TEST_F(RecordList, SetsTheModulesBitInEveryRecord) {
    ASSERT_EQ(convert({"Fan1", "Fan2"}, 33), MOX_OK);
    EXPECT_EQ(record_of("Fan1")->ref_bitmap[1], 0x2U);
    EXPECT_EQ(record_of("Fan2")->ref_bitmap[1], 0x2U);
}

TEST_F(RecordList, EndsAtAnUnknownObjectWithThoseBeforeIt) {
    EXPECT_EQ(convert({"Fan2", "Nobody", "Fan1"}), MOX_ERR_OBJECT_NOT_FOUND);
    ASSERT_EQ(g_slist_length(records_), 1U);
    EXPECT_EQ(object(0).position, 2U);
    EXPECT_EQ(record_of("Fan1")->ref_bitmap[0], 0U);
}

TEST_F(RecordList, KeepsTheOrderOfThoseBeforeAFailure) {
    EXPECT_EQ(convert({"Fan2", "Fan1", "Nobody"}), MOX_ERR_OBJECT_NOT_FOUND);
    ASSERT_EQ(g_slist_length(records_), 2U);
    EXPECT_EQ(object(0).position, 2U);
    EXPECT_EQ(object(1).position, 1U);
}

TEST_F(RecordList, EndsAtHandle0AsABadArgument) {
    handles_ = g_slist_append(handles_, GINT_TO_POINTER(0));
    EXPECT_EQ(convert({"Fan1"}), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(records_, nullptr);
}

class RemoteHook : public mox::test::ObjectFixture {};

TEST_F(RemoteHook, IsStoredAndTakenAwayWithNull) {
    const CopyObjectFunc copy = [](const gchar*, gsize) -> OBJECT_HEAD_S* { return nullptr; };
    const RemoteSetPropertyFunc set = [](const gchar*, const gchar*, GVariant*) { return 1; };
    const RemoteGetPropertyFunc get = [](const gchar*, const gchar*, gint32, gsize, gpointer) {
        return 2;
    };
    const RemoteSavePropertyFunc save = [](const gchar*, const gchar*, const gchar*, guint32,
                                           gconstpointer, gboolean, PER_MODE_E) { return 3; };
    const RemoteGetSavedValueFunc saved = [](const gchar*, const gchar*, CFG_READ_S*, gboolean,
                                             PER_MODE_E) { return 4; };
    lom_set_copy_func(copy);
    lom_set_modify_func(set);
    lom_set_remote_get_property_func(get);
    lom_set_remote_save_property_func(save);
    lom_set_remote_get_saved_value_func(saved);
    EXPECT_EQ(g_copy_object_func, copy);
    EXPECT_EQ(g_remote_set_func, set);
    EXPECT_EQ(g_remote_get_func, get);
    EXPECT_EQ(g_remote_save_property_func, save);
    EXPECT_EQ(g_remote_get_saved_value_func, saved);
    mox::test::forget_hooks();
    EXPECT_EQ(g_copy_object_func, nullptr);
    EXPECT_EQ(g_remote_set_func, nullptr);
    EXPECT_EQ(g_remote_get_func, nullptr);
    EXPECT_EQ(g_remote_save_property_func, nullptr);
    EXPECT_EQ(g_remote_get_saved_value_func, nullptr);
}

}  // namespace
