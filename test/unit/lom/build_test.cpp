// Making a record under construction: its space, its names, its semaphore.
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "lom/build.hpp"
#include "lom/hooks.hpp"
#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;
using mox::test::become_member;

const std::string kLongName(40, 'n');
const std::string kCutName(31, 'n');

OBJECT_HEAD_S* alloc_record(guint32 property_count) {
    return static_cast<OBJECT_HEAD_S*>(lom_alloc_space(property_count));
}

// An embryo with every kind of pool block: two properties, all three names.
OBJECT_HEAD_S* full_embryo() {
    return static_cast<OBJECT_HEAD_S*>(
        lom_create_object_embryo(2, "Fan1", "Fan", "Bus1", "Logical", 7));
}

// A record that is not freed the whole way: its pool blocks go with the fixture.
class RecordSpace : public mox::test::ObjectFixture {
protected:
    void TearDown() override {
        g_free(record_);
        ObjectFixture::TearDown();
    }
    OBJECT_HEAD_S* record_ = nullptr;
};

TEST_F(RecordSpace, IsRefusedToAProcessThatDoesNotOwnThePool) {
    become_member();
    record_ = alloc_record(1);
    EXPECT_EQ(record_, nullptr);
    EXPECT_EQ(space::allocations() + space::failed_allocations(), 0U);
}

TEST_F(RecordSpace, BeginsUnderConstructionWithOneReferenceReadOnlyAndLogical) {
    record_ = alloc_record(2);
    ASSERT_NE(record_, nullptr);
    EXPECT_EQ(record_->type, OBJECT_TYPE_LOGICAL);
    EXPECT_EQ(record_->ref_count, 1);
    EXPECT_EQ(record_->status, OBJECT_MXD_READY);
    EXPECT_EQ(record_->capability, OBJECT_READ_ONLY);
}

TEST_F(RecordSpace, BeginsWithoutNamesDataAndPropertyTable) {
    record_ = alloc_record(2);
    ASSERT_NE(record_, nullptr);
    EXPECT_EQ(record_->object_name, nullptr);
    EXPECT_EQ(record_->class_name, nullptr);
    EXPECT_EQ(record_->mutex_obj_name, nullptr);
    EXPECT_EQ(record_->module, nullptr);
    EXPECT_EQ(record_->position, 0U);
    EXPECT_EQ(record_->refered_object, nullptr);
    EXPECT_EQ(record_->user_data, nullptr);
    EXPECT_EQ(record_->destroy_func, nullptr);
    EXPECT_EQ(record_->property_hash, nullptr);
}

TEST_F(RecordSpace, HasABitmapOfFourZeroWordsInThePool) {
    record_ = alloc_record(0);
    ASSERT_NE(record_, nullptr);
    EXPECT_EQ(space::size_of(record_->ref_bitmap), 16U);
    for (int word = 0; word < 4; ++word) EXPECT_EQ(record_->ref_bitmap[word], 0U);
}

TEST_F(RecordSpace, HasOneEmptyNameNodeInThePool) {
    record_ = alloc_record(0);
    ASSERT_NE(record_, nullptr);
    EXPECT_EQ(space::size_of(record_->name_list), sizeof(CLASS_OBJECT_LIST_S));
    EXPECT_EQ(record_->name_list->class_name, nullptr);
    EXPECT_EQ(record_->name_list->object_name, nullptr);
    EXPECT_EQ(record_->name_list->next, nullptr);
}

TEST_F(RecordSpace, WithoutPropertiesHasNoPropertyArray) {
    record_ = alloc_record(0);
    ASSERT_NE(record_, nullptr);
    EXPECT_EQ(record_->property_entry, nullptr);
    EXPECT_EQ(record_->property_count, 0U);
    EXPECT_EQ(space::live_blocks(), 2U);
}

TEST_F(RecordSpace, HasItsPropertiesInOneZeroedBlock) {
    record_ = alloc_record(3);
    ASSERT_NE(record_, nullptr);
    EXPECT_EQ(record_->property_count, 3U);
    EXPECT_EQ(space::size_of(record_->property_entry), 3 * sizeof(SERIALISED_PROPERTY_S));
    for (int index = 0; index < 3; ++index) {
        EXPECT_EQ(record_->property_entry[index].name[0], '\0');
        EXPECT_EQ(record_->property_entry[index].state.all, 0U);
        EXPECT_EQ(record_->property_entry[index].data, nullptr);
    }
}

TEST_F(RecordSpace, ChainsItsPropertiesInOrder) {
    record_ = alloc_record(3);
    ASSERT_NE(record_, nullptr);
    SERIALISED_PROPERTY_S* const first = record_->property_entry;
    EXPECT_EQ(first[0].next_ptr, first + 1);
    EXPECT_EQ(first[1].next_ptr, first + 2);
    EXPECT_EQ(first[2].next_ptr, nullptr);
}

TEST_F(RecordSpace, IsNullWithNothingLeftWhenThePoolHasNoRoomForTheBitmap) {
    space::fail_allocation(1);
    mox::test::stdout_of([&] { record_ = alloc_record(2); });
    EXPECT_EQ(record_, nullptr);
    EXPECT_EQ(space::live_blocks(), 0U);
}

TEST_F(RecordSpace, IsNullWithTheBitmapStillTakenWhenThePoolHasNoRoomForTheNameNode) {
    space::fail_allocation(2);
    mox::test::stdout_of([&] { record_ = alloc_record(2); });
    EXPECT_EQ(record_, nullptr);
    EXPECT_EQ(space::live_blocks(), 1U);
    EXPECT_EQ(space::live_bytes(), 16U);
}

TEST_F(RecordSpace, IsNullWithTheBitmapStillTakenWhenThePoolHasNoRoomForTheProperties) {
    space::fail_allocation(3);
    mox::test::stdout_of([&] { record_ = alloc_record(2); });
    EXPECT_EQ(record_, nullptr);
    EXPECT_EQ(space::live_blocks(), 1U);
    EXPECT_EQ(space::live_bytes(), 16U);
}

TEST_F(RecordSpace, IsNullForMorePropertiesThanFitIntoMemory) {
    mox::test::stdout_of([&] { record_ = alloc_record(G_MAXUINT32); });
    EXPECT_EQ(record_, nullptr);
}

TEST_F(RecordSpace, IsNullForACountWhoseBytesWrapAroundA32BitSize) {
    // 59652324 records of 72 bytes are 32 bytes more than 32 bits can tell.
    mox::test::stdout_of([&] { record_ = alloc_record(59652324U); });
    EXPECT_EQ(record_, nullptr);
}

TEST_F(RecordSpace, GetsNameAndSemaphoreFromNaming) {
    record_ = alloc_record(0);
    ASSERT_NE(record_, nullptr);
    _embryo_init_object_name(record_, kLongName.c_str());
    EXPECT_EQ(record_->object_name, kCutName);
    EXPECT_EQ(record_->name_list->object_name, record_->object_name);
    ASSERT_EQ(osal::created().size(), 1U);
    EXPECT_EQ(osal::created()[0],
              (osal::Semaphore{record_->sem_index, record_->semid, record_->sem_member}));
}

class ObjectEmbryo : public mox::test::ObjectFixture {
protected:
    void TearDown() override {
        _free_object_head(embryo_);
        ObjectFixture::TearDown();
    }
    void make(const gchar* name, const gchar* class_name, const gchar* mutex, const gchar* type,
              guint32 position = 0) {
        embryo_ = static_cast<OBJECT_HEAD_S*>(
            lom_create_object_embryo(1, name, class_name, mutex, type, position));
    }
    OBJECT_HEAD_S* embryo_ = nullptr;
};

TEST_F(ObjectEmbryo, IsNullWithoutAnObjectName) {
    make(nullptr, "Fan", "", "Logical");
    EXPECT_EQ(embryo_, nullptr);
    EXPECT_EQ(space::allocations(), 0U);
}

TEST_F(ObjectEmbryo, IsNullWithoutAClassName) {
    make("Fan1", nullptr, "", "Logical");
    EXPECT_EQ(embryo_, nullptr);
    EXPECT_EQ(space::allocations(), 0U);
}

TEST_F(ObjectEmbryo, IsNullForANullMutexObjectName) {
    make("Fan1", "Fan", nullptr, "Logical");
    EXPECT_EQ(embryo_, nullptr);
    EXPECT_EQ(space::allocations(), 0U);
}

TEST_F(ObjectEmbryo, IsNullWithoutAType) {
    make("Fan1", "Fan", "", nullptr);
    EXPECT_EQ(embryo_, nullptr);
    EXPECT_EQ(space::allocations(), 0U);
}

TEST_F(ObjectEmbryo, IsNullInAProcessThatDoesNotOwnThePool) {
    become_member();
    make("Fan1", "Fan", "", "Logical");
    EXPECT_EQ(embryo_, nullptr);
    EXPECT_TRUE(osal::created().empty());
}

TEST_F(ObjectEmbryo, HasTheNamesOfItsFirstNameNode) {
    make("Fan1", "Fan", "", "Logical");
    ASSERT_NE(embryo_, nullptr);
    EXPECT_STREQ(embryo_->object_name, "Fan1");
    EXPECT_STREQ(embryo_->class_name, "Fan");
    EXPECT_EQ(embryo_->object_name, embryo_->name_list->object_name);
    EXPECT_EQ(embryo_->class_name, embryo_->name_list->class_name);
    EXPECT_EQ(embryo_->name_list->next, nullptr);
}

TEST_F(ObjectEmbryo, KeepsItsNamesInBlocksOfThePool) {
    make("Fan1", "Fan", "Bus1", "Logical");
    ASSERT_NE(embryo_, nullptr);
    EXPECT_EQ(space::size_of(embryo_->object_name), 5U);
    EXPECT_EQ(space::size_of(embryo_->class_name), 4U);
    EXPECT_EQ(space::size_of(embryo_->mutex_obj_name), 5U);
}

TEST_F(ObjectEmbryo, CutsEveryNameTo31Characters) {
    make(kLongName.c_str(), kLongName.c_str(), kLongName.c_str(), "Logical");
    ASSERT_NE(embryo_, nullptr);
    EXPECT_EQ(embryo_->object_name, kCutName);
    EXPECT_EQ(embryo_->class_name, kCutName);
    EXPECT_EQ(embryo_->mutex_obj_name, kCutName);
}

TEST_F(ObjectEmbryo, HasNoMutexObjectWhenItsNameIsEmpty) {
    make("Fan1", "Fan", "", "Logical");
    ASSERT_NE(embryo_, nullptr);
    EXPECT_EQ(embryo_->mutex_obj_name, nullptr);
}

TEST_F(ObjectEmbryo, KeepsTheNameOfItsMutexObject) {
    make("Fan1", "Fan", "Bus1", "Logical");
    ASSERT_NE(embryo_, nullptr);
    EXPECT_STREQ(embryo_->mutex_obj_name, "Bus1");
}

TEST_F(ObjectEmbryo, HasASemaphoreOfItsOwnAlsoWithAMutexObject) {
    make("Fan1", "Fan", "Bus1", "Logical");
    ASSERT_NE(embryo_, nullptr);
    ASSERT_EQ(osal::created().size(), 1U);
    EXPECT_EQ(osal::created()[0],
              (osal::Semaphore{embryo_->sem_index, embryo_->semid, embryo_->sem_member}));
}

// What the recording hook below saw.
struct HookCall {
    gint32* sem_index = nullptr;
    gint32* semid = nullptr;
    gint32* sem_member = nullptr;
    std::string object_name = {};
    bool has_class_name = false;
};
std::vector<HookCall> g_hook_calls;

void recording_create(gint32* sem_index, gint32* semid, gint32* sem_member) {
    auto* const place = reinterpret_cast<guint8*>(sem_index) - offsetof(OBJECT_HEAD_S, sem_index);
    const auto* const record = reinterpret_cast<const OBJECT_HEAD_S*>(static_cast<void*>(place));
    g_hook_calls.push_back({sem_index, semid, sem_member,
                            record->object_name == nullptr ? "" : record->object_name,
                            record->class_name != nullptr});
    osal_process_sem_create(sem_index, semid, sem_member);
}

TEST_F(ObjectEmbryo, HasTheCreateHookFillIndexSetAndMember) {
    g_hook_calls.clear();
    lom_set_sem_func(recording_create, osal_process_sem_free);
    make("Fan1", "Fan", "", "Logical");
    ASSERT_NE(embryo_, nullptr);
    ASSERT_EQ(g_hook_calls.size(), 1U);
    EXPECT_EQ(g_hook_calls[0].sem_index, &embryo_->sem_index);
    EXPECT_EQ(g_hook_calls[0].semid, &embryo_->semid);
    EXPECT_EQ(g_hook_calls[0].sem_member, &embryo_->sem_member);
}

TEST_F(ObjectEmbryo, GetsItsNameBeforeItsSemaphoreAndItsClassAfterwards) {
    g_hook_calls.clear();
    lom_set_sem_func(recording_create, osal_process_sem_free);
    make("Fan1", "Fan", "", "Logical");
    ASSERT_EQ(g_hook_calls.size(), 1U);
    EXPECT_EQ(g_hook_calls[0].object_name, "Fan1");
    EXPECT_FALSE(g_hook_calls[0].has_class_name);
}

TEST_F(ObjectEmbryo, IsMadeAllTheSameWhenNoSemaphoreCouldBeCreated) {
    osal::fail_create(1);
    make("Fan1", "Fan", "", "Logical");
    ASSERT_NE(embryo_, nullptr);
    EXPECT_EQ(embryo_->sem_index, -1);
    EXPECT_EQ(embryo_->semid, -1);
    EXPECT_EQ(embryo_->sem_member, -1);
}

TEST_F(ObjectEmbryo, KeepsItsPosition) {
    make("Fan1", "Fan", "", "Logical", 4000000000U);
    ASSERT_NE(embryo_, nullptr);
    EXPECT_EQ(embryo_->position, 4000000000U);
}

TEST_F(ObjectEmbryo, IsPhysicalForTheWordPhysical) {
    make("Fan1", "Fan", "", "Physical");
    ASSERT_NE(embryo_, nullptr);
    EXPECT_EQ(embryo_->type, OBJECT_TYPE_PHYSICAL);
}

class ObjectEmbryoType : public ObjectEmbryo, public ::testing::WithParamInterface<const char*> {};

TEST_P(ObjectEmbryoType, IsLogicalForAnyOtherWord) {
    make("Fan1", "Fan", "", GetParam());
    ASSERT_NE(embryo_, nullptr);
    EXPECT_EQ(embryo_->type, OBJECT_TYPE_LOGICAL);
}

INSTANTIATE_TEST_SUITE_P(Words, ObjectEmbryoType,
                         ::testing::Values("physical", "PHYSICAL", "Physical ", "Physica", "",
                                           "Logical"));

TEST_F(ObjectEmbryo, IsNotFoundBeforeItIsAdded) {
    make("Fan1", "Fan", "", "Logical");
    EXPECT_EQ(_get_object_ptr_option("Fan1", TRUE), nullptr);
}

class ObjectEmbryoInAFullPool : public mox::test::ObjectFixture,
                                public ::testing::WithParamInterface<guint> {};

// Bitmap, name node, properties, object name, class name, mutex object name: the order of the
// allocations.
constexpr guint kBlocks = 6;

TEST_P(ObjectEmbryoInAFullPool, IsNullAndLeavesNothingButABitmap) {
    const guint failing = GetParam();
    OBJECT_HEAD_S* embryo = nullptr;
    space::fail_allocation(failing);
    mox::test::stdout_of([&] { embryo = full_embryo(); });
    EXPECT_EQ(embryo, nullptr);
    const bool bitmap_stays = failing == 2 || failing == 3;
    EXPECT_EQ(space::live_blocks(), bitmap_stays ? 1U : 0U);
    EXPECT_EQ(osal::created(), osal::freed());
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
    EXPECT_TRUE(mox::test::all_records().empty());
}

INSTANTIATE_TEST_SUITE_P(EveryAllocation, ObjectEmbryoInAFullPool,
                         ::testing::Range(1U, kBlocks + 1U));

TEST_F(ObjectEmbryo, TakesSixBlocksWithPropertiesAndAMutexObject) {
    embryo_ = full_embryo();
    ASSERT_NE(embryo_, nullptr);
    EXPECT_EQ(space::allocations(), kBlocks);
}

}  // namespace
