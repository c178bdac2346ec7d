// One object as another name for a second one.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;
using mox::test::add_object;
using mox::test::delete_object;
using mox::test::number;
using mox::test::property_of;
using mox::test::record_of;

// The bytes of a record, padding included.
std::vector<guint8> image_of(const std::string& name) {
    const auto* const bytes = reinterpret_cast<const guint8*>(record_of(name));
    return {bytes, bytes + sizeof(OBJECT_HEAD_S)};
}

// Two objects of two classes; "Spare" is to stand for "Main".
class ObjectReference : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        add_object(
            {.name = "Main",
             .class_name = "Fan",
             .properties = {number<guint32>("Speed", "u", 7), mox::test::text("Label", "m")}});
        add_object(
            {.name = "Spare",
             .class_name = "Blower",
             .properties = {number<guint32>("Power", "u", 9), mox::test::text("Note", "s")}});
        lom_set_module(lom_name_to_handle("Main"), this);
    }
    static OBJ_HANDLE spare() { return lom_name_to_handle("Spare"); }
    static OBJ_HANDLE main_object() { return lom_name_to_handle("Main"); }
};

TEST_F(ObjectReference, SucceedsForTwoKnownObjects) {
    EXPECT_EQ(lom_set_reference("Spare", "Main"), MOX_OK);
    EXPECT_EQ(record_of("Spare")->refered_object, record_of("Main"));
}

TEST_F(ObjectReference, SharesThePropertiesOfTheReferredObject) {
    lom_set_reference("Spare", "Main");
    const OBJECT_HEAD_S* const main = record_of("Main");
    const OBJECT_HEAD_S* const spare = record_of("Spare");
    EXPECT_EQ(spare->property_count, 2U);
    EXPECT_EQ(spare->property_entry, main->property_entry);
    EXPECT_EQ(spare->property_hash, main->property_hash);
    EXPECT_EQ(&property_of("Spare", "Speed"), &property_of("Main", "Speed"));
}

TEST_F(ObjectReference, GivesItsOwnPropertiesUp) {
    lom_set_reference("Spare", "Main");
    EXPECT_EQ(_get_property_node(record_of("Spare"), "Power"), nullptr);
}

TEST_F(ObjectReference, GivesItsOwnValuesNamesAndPropertiesBackToThePool) {
    const OBJECT_HEAD_S* const spare = record_of("Spare");
    const std::vector<gconstpointer> own = {spare->property_entry,
                                            property_of("Spare", "Note").data, spare->name_list,
                                            spare->object_name, spare->class_name};
    lom_set_reference("Spare", "Main");
    for (gconstpointer const block : own) EXPECT_FALSE(space::is_live(block));
}

TEST_F(ObjectReference, KeepsItsOwnBitmap) {
    guint32* const bitmap = record_of("Spare")->ref_bitmap;
    lom_set_reference("Spare", "Main");
    EXPECT_EQ(record_of("Spare")->ref_bitmap, bitmap);
    EXPECT_TRUE(space::is_live(bitmap));
}

TEST_F(ObjectReference, TakesOverTheSemaphoreSetButNotMemberAndIndex) {
    const OBJECT_HEAD_S* const spare = record_of("Spare");
    record_of("Main")->semid = 7999;
    const gint32 index = spare->sem_index;
    const gint32 member = spare->sem_member;
    lom_set_reference("Spare", "Main");
    EXPECT_EQ(spare->semid, 7999);
    EXPECT_EQ(spare->sem_index, index);
    EXPECT_EQ(spare->sem_member, member);
}

TEST_F(ObjectReference, FreesItsOwnSemaphore) {
    const OBJECT_HEAD_S own = *record_of("Spare");
    lom_set_reference("Spare", "Main");
    ASSERT_EQ(osal::freed().size(), 1U);
    EXPECT_EQ(osal::freed()[0].index, own.sem_index);
    EXPECT_EQ(osal::freed()[0].member, own.sem_member);
}

TEST_F(ObjectReference, LeavesASemaphoreThatItShares) {
    add_object({.name = "Third", .mutex_object = "Main"});
    const gsize freed = osal::freed().size();
    EXPECT_EQ(lom_set_reference("Third", "Main"), MOX_OK);
    EXPECT_EQ(osal::freed().size(), freed);
}

TEST_F(ObjectReference, TakesOverTheModule) {
    lom_set_reference("Spare", "Main");
    EXPECT_EQ(lom_get_module(spare()), this);
}

TEST_F(ObjectReference, IsReadOnlyFromThenOn) {
    lom_set_writable(spare(), OBJECT_READ_WRITE);
    lom_set_writable(main_object(), OBJECT_READ_WRITE);
    lom_set_reference("Spare", "Main");
    EXPECT_EQ(record_of("Spare")->capability, OBJECT_READ_ONLY);
    EXPECT_EQ(record_of("Main")->capability, OBJECT_READ_WRITE);
}

TEST_F(ObjectReference, KeepsItsOwnNamePositionAndHandle) {
    record_of("Spare")->position = 12;
    lom_set_reference("Spare", "Main");
    EXPECT_STREQ(record_of("Spare")->object_name, "Spare");
    EXPECT_EQ(lom_get_position(spare()), 12U);
    EXPECT_EQ(lom_get_object_handle("Spare"), spare());
}

TEST_F(ObjectReference, KeepsItsOwnClass) {
    lom_set_reference("Spare", "Main");
    gchar name[32];
    EXPECT_EQ(lom_get_class_name(spare(), name, 32), MOX_OK);
    EXPECT_STREQ(name, "Blower");
}

TEST_F(ObjectReference, IsChargedToTheReferredObject) {
    lom_set_reference("Spare", "Main");
    gchar name[32];
    EXPECT_EQ(lom_get_charged_object(spare(), name, 32), MOX_OK);
    EXPECT_STREQ(name, "Main");
    EXPECT_EQ(lom_get_charged_class(spare(), name, 32), MOX_OK);
    EXPECT_STREQ(name, "Fan");
}

TEST_F(ObjectReference, StandsAtTheEndOfTheReferredObjectsNameList) {
    add_object({.name = "Third", .class_name = "Blower"});
    lom_set_reference("Third", "Main");
    lom_set_reference("Spare", "Main");
    const CLASS_OBJECT_LIST_S* const first = record_of("Main")->name_list;
    EXPECT_STREQ(first->object_name, "Main");
    ASSERT_NE(first->next, nullptr);
    EXPECT_STREQ(first->next->object_name, "Third");
    const CLASS_OBJECT_LIST_S* const last = first->next->next;
    ASSERT_NE(last, nullptr);
    EXPECT_STREQ(last->object_name, "Spare");
    EXPECT_STREQ(last->class_name, "Blower");
    EXPECT_EQ(last->next, nullptr);
}

TEST_F(ObjectReference, SharesTheNameListInWhichItsOwnNamesLie) {
    lom_set_reference("Spare", "Main");
    const OBJECT_HEAD_S* const spare = record_of("Spare");
    const CLASS_OBJECT_LIST_S* const node = record_of("Main")->name_list->next;
    EXPECT_EQ(spare->name_list, record_of("Main")->name_list);
    EXPECT_EQ(spare->object_name, node->object_name);
    EXPECT_EQ(spare->class_name, node->class_name);
    EXPECT_TRUE(space::is_live(node->object_name));
}

TEST_F(ObjectReference, HoldsOneReferenceOnTheReferredObject) {
    lom_set_reference("Spare", "Main");
    EXPECT_EQ(record_of("Main")->ref_count, 2);
    EXPECT_EQ(record_of("Spare")->ref_count, 1);
}

bool g_table_was_free = true;

TEST_F(ObjectReference, SwitchesUnderTheTablesMutex) {
    g_table_was_free = true;
    lom_set_sem_func(osal_process_sem_create, [](gint32 index, gint32 member) {
        g_table_was_free = mox::test::table_mutex_is_free();
        osal_process_sem_free(index, member);
    });
    lom_set_reference("Spare", "Main");
    lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
    EXPECT_FALSE(g_table_was_free);
    EXPECT_TRUE(mox::test::table_mutex_is_free());
}

TEST_F(ObjectReference, TakesNoSemaphore) {
    lom_set_reference("Spare", "Main");
    EXPECT_EQ(osal::takes(), 0U);
}

TEST_F(ObjectReference, ThatIsDeletedLeavesTheReferredObjectWholeAndItsNameListAsItIs) {
    lom_set_reference("Spare", "Main");
    guint32* const bitmap = record_of("Spare")->ref_bitmap;
    const gsize blocks = space::live_blocks();
    delete_object("Spare");
    EXPECT_EQ(record_of("Spare"), nullptr);
    EXPECT_FALSE(space::is_live(bitmap));
    EXPECT_EQ(space::live_blocks(), blocks - 1);
    EXPECT_EQ(record_of("Main")->ref_count, 1);
    EXPECT_NE(record_of("Main")->name_list->next, nullptr);
    EXPECT_EQ(property_of("Main", "Speed").size, 4U);
}

TEST_F(ObjectReference, LeavesNothingInThePoolWhenBothAreDeleted) {
    lom_set_reference("Spare", "Main");
    delete_object("Spare");
    delete_object("Main");
    EXPECT_EQ(space::live_blocks(), 0U);
    EXPECT_EQ(osal::freed().size(), 2U);
    EXPECT_EQ(osal::bad_sem_frees(), 0U);
}

TEST_F(ObjectReference, MadeASecondTimeLetsTheFirstReferredObjectGo) {
    add_object({.name = "Third"});
    ASSERT_EQ(lom_set_reference("Spare", "Main"), MOX_OK);
    ASSERT_EQ(lom_set_reference("Spare", "Third"), MOX_OK);
    EXPECT_EQ(record_of("Main")->ref_count, 1);
    EXPECT_EQ(record_of("Third")->ref_count, 2);
}

TEST_F(ObjectReference, ThatNamedAMutexObjectLeavesNothingInThePoolWhenAllAreDeleted) {
    add_object({.name = "Third", .mutex_object = "Main"});
    lom_set_reference("Third", "Main");
    delete_object("Third");
    delete_object("Main");
    delete_object("Spare");
    EXPECT_EQ(space::live_blocks(), 0U);
}

TEST_F(ObjectReference, OfAnUnknownObjectIsNotFound) {
    EXPECT_EQ(lom_set_reference("Nobody", "Main"), MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_EQ(lom_set_reference(nullptr, "Main"), MOX_ERR_OBJECT_NOT_FOUND);
}

TEST_F(ObjectReference, ToAnUnknownObjectIsNotFoundAndLeavesTheObjectAsItIs) {
    const std::vector<guint8> before = image_of("Spare");
    EXPECT_EQ(lom_set_reference("Spare", "Nobody"), MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_EQ(lom_set_reference("Spare", nullptr), MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_EQ(image_of("Spare"), before);
}

int g_fetches = 0;

TEST_F(ObjectReference, IsMadeBetweenObjectsOfThisProcessOnly) {
    g_fetches = 0;
    lom_set_copy_func([](const gchar*, gsize) -> OBJECT_HEAD_S* {
        ++g_fetches;
        return nullptr;
    });
    lom_set_reference("Nobody", "Main");
    lom_set_reference("Spare", "Nobody");
    EXPECT_EQ(g_fetches, 0);
}

TEST_F(ObjectReference, ToAnObjectWithoutANameListIsRefusedAndNamed) {
    CLASS_OBJECT_LIST_S* const list = std::exchange(record_of("Main")->name_list, nullptr);
    const std::vector<guint8> before = image_of("Spare");
    mox::test::CapturedSyslog log;
    gint32 result = 0;
    const std::string output =
        mox::test::stdout_of([&] { result = lom_set_reference("Spare", "Main"); });
    record_of("Main")->name_list = list;
    const std::string message =
        mox::test::error_message("name list of Main if null, running error.\n");
    EXPECT_EQ(result, MOX_ERR_INTERNAL);
    EXPECT_EQ(output, message);
    EXPECT_EQ(log.text(), message);
    EXPECT_EQ(image_of("Spare"), before);
}

class ObjectReferenceInAFullPool : public ObjectReference,
                                   public ::testing::WithParamInterface<guint> {};

TEST_P(ObjectReferenceInAFullPool, IsRefusedAndChangesNeitherObject) {
    const std::vector<guint8> spare_before = image_of("Spare");
    const std::vector<guint8> main_before = image_of("Main");
    const gsize blocks = space::live_blocks();
    gint32 result = 0;
    space::fail_allocation(GetParam());
    mox::test::stdout_of([&] { result = lom_set_reference("Spare", "Main"); });
    EXPECT_EQ(result, MOX_ERR_INTERNAL);
    EXPECT_EQ(image_of("Spare"), spare_before);
    EXPECT_EQ(image_of("Main"), main_before);
    EXPECT_EQ(record_of("Main")->name_list->next, nullptr);
    EXPECT_EQ(space::live_blocks(), blocks);
}

// The node, its class name, its object name.
INSTANTIATE_TEST_SUITE_P(EveryAllocation, ObjectReferenceInAFullPool, ::testing::Range(1U, 4U));

TEST_F(ObjectReference, TakesThreeBlocks) {
    const gsize before = space::allocations();
    lom_set_reference("Spare", "Main");
    EXPECT_EQ(space::allocations() - before, 3U);
}

TEST_F(ObjectReference, OntoItselfIsRefused) {
    const std::vector<guint8> before = image_of("Main");
    EXPECT_EQ(lom_set_reference("Main", "Main"), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(image_of("Main"), before);
    EXPECT_EQ(record_of("Main")->name_list->next, nullptr);
}

TEST_F(ObjectReference, BackToTheObjectThatRefersIsRefused) {
    lom_set_reference("Spare", "Main");
    const std::vector<guint8> before = image_of("Main");
    EXPECT_EQ(lom_set_reference("Main", "Spare"), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(image_of("Main"), before);
}

TEST_F(ObjectReference, BackAlongAChainIsRefused) {
    add_object({.name = "Third"});
    lom_set_reference("Spare", "Main");
    ASSERT_EQ(lom_set_reference("Third", "Spare"), MOX_OK);
    EXPECT_EQ(lom_set_reference("Main", "Third"), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(record_of("Main")->refered_object, nullptr);
}

TEST_F(ObjectReference, OfAChainsMiddleBackToItsEndIsRefused) {
    add_object({.name = "Third"});
    lom_set_reference("Spare", "Main");
    ASSERT_EQ(lom_set_reference("Third", "Spare"), MOX_OK);
    EXPECT_EQ(lom_set_reference("Spare", "Third"), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(record_of("Spare")->refered_object, record_of("Main"));
}

TEST_F(ObjectReference, OfAnObjectThatOthersStandForIsRefused) {
    add_object({.name = "Third"});
    lom_set_reference("Spare", "Main");
    const std::vector<guint8> before = image_of("Main");
    EXPECT_EQ(lom_set_reference("Main", "Third"), MOX_ERR_BAD_ARGUMENT);
    EXPECT_EQ(image_of("Main"), before);
    EXPECT_EQ(record_of("Third")->name_list->next, nullptr);
}

TEST_F(ObjectReference, ToAnObjectThatRefersItselfSharesTheSameProperties) {
    add_object({.name = "Third"});
    lom_set_reference("Spare", "Main");
    EXPECT_EQ(lom_set_reference("Third", "Spare"), MOX_OK);
    EXPECT_EQ(record_of("Third")->refered_object, record_of("Spare"));
    EXPECT_EQ(&property_of("Third", "Speed"), &property_of("Main", "Speed"));
    EXPECT_STREQ(record_of("Main")->name_list->next->next->object_name, "Third");
}

TEST_F(ObjectReference, IsRefusedToAProcessThatDoesNotOwnThePool) {
    const std::vector<guint8> before = image_of("Spare");
    mox::test::become_member();
    EXPECT_EQ(lom_set_reference("Spare", "Main"), MOX_ERR_INTERNAL);
    mox::test::become_owner();
    EXPECT_EQ(image_of("Spare"), before);
}

}  // namespace
