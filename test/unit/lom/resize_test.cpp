// Replacing a stored value in place, with a larger block when it has outgrown its own.
#include <classnode.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "object_fixture.hpp"

namespace {

namespace osal = mox::fake::osal;
namespace space = mox::fake::space;
using mox::test::add_object;
using mox::test::become_member;
using mox::test::bytes_of;
using mox::test::bytes_of_text;
using mox::test::number;
using mox::test::property_of;
using mox::test::record_of;
using mox::test::stored_bytes;

// An object with one property of each kind.
class ReplacedValue : public mox::test::ObjectFixture {
protected:
    void SetUp() override {
        ObjectFixture::SetUp();
        add_object({.name = "Fan1",
                    .properties = {number<guint32>("Speed", "u", 7),
                                   mox::test::text("Label", "left"),
                                   {"Names", "as", {'a', 0, 2}}}});
    }
    static gint32 replace(const gchar* property, const gchar* type,
                          const std::vector<guint8>& bytes) {
        return lom_realloc_property("Fan1", property, type, static_cast<guint32>(bytes.size()),
                                    bytes.data());
    }
    static SERIALISED_PROPERTY_S& speed() { return property_of("Fan1", "Speed"); }
    static SERIALISED_PROPERTY_S& label() { return property_of("Fan1", "Label"); }
};

TEST_F(ReplacedValue, IsRefusedToAProcessThatDoesNotOwnThePool) {
    become_member();
    EXPECT_EQ(replace("Speed", "u", bytes_of<guint32>(8)), MOX_ERR_NOT_PERMITTED);
    EXPECT_EQ(lom_realloc_property(nullptr, nullptr, nullptr, 0, nullptr), MOX_ERR_NOT_PERMITTED);
    mox::test::become_owner();
    EXPECT_EQ(stored_bytes(speed()), bytes_of<guint32>(7));
}

TEST_F(ReplacedValue, IsRefusedWithoutAnObjectName) {
    EXPECT_EQ(lom_realloc_property(nullptr, "Speed", "u", 1, "x"), MOX_ERR_BAD_ARGUMENT);
}

TEST_F(ReplacedValue, IsRefusedWithoutAPropertyName) {
    EXPECT_EQ(lom_realloc_property("Fan1", nullptr, "u", 1, "x"), MOX_ERR_BAD_ARGUMENT);
}

TEST_F(ReplacedValue, IsRefusedWithoutAType) {
    EXPECT_EQ(lom_realloc_property("Fan1", "Speed", nullptr, 1, "x"), MOX_ERR_BAD_ARGUMENT);
}

TEST_F(ReplacedValue, IsRefusedWithoutBytes) {
    EXPECT_EQ(lom_realloc_property("Fan1", "Speed", "u", 1, nullptr), MOX_ERR_BAD_ARGUMENT);
}

int g_fetches = 0;

TEST_F(ReplacedValue, NeedsAnObjectOfThisProcess) {
    g_fetches = 0;
    lom_set_copy_func([](const gchar*, gsize) -> OBJECT_HEAD_S* {
        ++g_fetches;
        return nullptr;
    });
    EXPECT_EQ(lom_realloc_property("Fan2", "Speed", "u", 1, "x"), MOX_ERR_OBJECT_NOT_FOUND);
    EXPECT_EQ(g_fetches, 0);
}

TEST_F(ReplacedValue, NeedsAPropertyOfTheObject) {
    EXPECT_EQ(replace("Voltage", "u", bytes_of<guint32>(8)), MOX_ERR_PROPERTY_NOT_FOUND);
}

TEST_F(ReplacedValue, NeedsAPropertyTable) {
    g_hash_table_destroy(record_of("Fan1")->property_hash);
    record_of("Fan1")->property_hash = nullptr;
    EXPECT_EQ(replace("Speed", "u", bytes_of<guint32>(8)), MOX_ERR_PROPERTY_NOT_FOUND);
}

TEST_F(ReplacedValue, IsAnInternalFailureWithoutAPropertyRecord) {
    static_cast<LOCAL_PROPERTY_S*>(g_hash_table_lookup(record_of("Fan1")->property_hash, "Speed"))
        ->property_ptr = nullptr;
    EXPECT_EQ(replace("Speed", "u", bytes_of<guint32>(8)), MOX_ERR_INTERNAL);
}

TEST_F(ReplacedValue, OfAnotherTypeIsRefusedAndNamed) {
    mox::test::CapturedSyslog log;
    gint32 result = 0;
    const std::string output =
        mox::test::stdout_of([&] { result = replace("Speed", "i", bytes_of<gint32>(8)); });
    EXPECT_EQ(result, MOX_ERR_TYPE_MISMATCH);
    const std::string message =
        mox::test::error_message("modify property Fan1.Speed, parameter mismatch(i<->u).\n");
    EXPECT_EQ(output, message);
    EXPECT_EQ(log.text(), message);
    EXPECT_EQ(stored_bytes(speed()), bytes_of<guint32>(7));
    EXPECT_EQ(osal::takes(), 0U);
}

TEST_F(ReplacedValue, OfATypeWithTheSameFirstCharacterIsTaken) {
    EXPECT_EQ(replace("Names", "ay", {1, 2, 3, 4}), MOX_OK);
    EXPECT_EQ(stored_bytes(property_of("Fan1", "Names")), (std::vector<guint8>{1, 2, 3, 4}));
    EXPECT_STREQ(property_of("Fan1", "Names").type, "as");
}

TEST_F(ReplacedValue, NeedsTheSemaphore) {
    osal::fail_takes_of(record_of("Fan1")->semid, record_of("Fan1")->sem_member);
    EXPECT_EQ(replace("Label", "s", bytes_of_text("a longer text")), MOX_ERR_SEMAPHORE);
    EXPECT_EQ(stored_bytes(label()), bytes_of_text("left"));
    EXPECT_EQ(label().state.bit.synced, 0U);
    EXPECT_EQ(osal::releases(), 0U);
}

TEST_F(ReplacedValue, TakesTheObjectsSemaphoreOnceAndReleasesIt) {
    const OBJECT_HEAD_S* const fan = record_of("Fan1");
    EXPECT_EQ(replace("Speed", "u", bytes_of<guint32>(8)), MOX_OK);
    EXPECT_EQ(osal::takes(), 1U);
    EXPECT_EQ(osal::takes(fan->semid, fan->sem_member), 1U);
    EXPECT_EQ(osal::releases(fan->semid, fan->sem_member), 1U);
}

TEST_F(ReplacedValue, DropsItsReferenceOnTheRecord) {
    replace("Speed", "u", bytes_of<guint32>(8));
    EXPECT_EQ(record_of("Fan1")->ref_count, 1);
}

TEST_F(ReplacedValue, OfAFixedTypeIsStoredInTheRecord) {
    EXPECT_EQ(replace("Speed", "u", bytes_of<guint32>(8)), MOX_OK);
    EXPECT_EQ(stored_bytes(speed()), bytes_of<guint32>(8));
    EXPECT_EQ(speed().data, speed().data_hold);
    EXPECT_EQ(speed().capacity, 8U);
}

TEST_F(ReplacedValue, IsMarkedAsCurrentAndNothingElse) {
    const guint32 before = speed().state.all;
    replace("Speed", "u", bytes_of<guint32>(8));
    EXPECT_EQ(speed().state.all, before | 0x08U);
}

TEST_F(ReplacedValue, OfAFixedTypeKeepsTheSizeGivenAndStaysWithinItsEightBytes) {
    mox::test::CapturedSyslog log;
    EXPECT_EQ(replace("Speed", "u", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}), MOX_OK);
    EXPECT_EQ(speed().size, 12U);
    const std::vector<guint8> held(speed().data_hold, speed().data_hold + 8);
    EXPECT_EQ(held, (std::vector<guint8>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_STREQ(label().name, "Label");
}

TEST_F(ReplacedValue, ThatDoesNotFitIsLoggedAsAFailedCopy) {
    mox::test::CapturedSyslog log;
    replace("Speed", "u", std::vector<guint8>(12, 1));
    ASSERT_EQ(log.lines().size(), 1U);
    const std::string prefix = mox::test::log_message("");
    ASSERT_EQ(log.lines()[0].text.rfind(prefix, 0), 0U);
    EXPECT_EQ(mox::test::without_line(log.lines()[0].text.substr(prefix.size())),
              "[lom][line]: memmove_s failed ret(34).\n");
}

TEST_F(ReplacedValue, ThatOutgrowsItsBlockGetsOneOfItsSize) {
    const std::vector<guint8> longer = bytes_of_text("a longer text");
    const gsize blocks = space::live_blocks();
    EXPECT_EQ(replace("Label", "s", longer), MOX_OK);
    EXPECT_EQ(stored_bytes(label()), longer);
    EXPECT_EQ(space::size_of(label().data), longer.size());
    EXPECT_EQ(label().capacity, longer.size());
    EXPECT_EQ(space::live_blocks(), blocks);
    EXPECT_EQ(space::releases(), 1U);
}

TEST_F(ReplacedValue, ThatIsShorterKeepsItsBlockAndCapacity) {
    const gpointer block = label().data;
    EXPECT_EQ(replace("Label", "s", bytes_of_text("up")), MOX_OK);
    EXPECT_EQ(label().data, block);
    EXPECT_EQ(label().capacity, 5U);
    EXPECT_EQ(label().size, 3U);
    EXPECT_EQ(stored_bytes(label()), bytes_of_text("up"));
}

TEST_F(ReplacedValue, ThatJustFitsKeepsItsBlock) {
    const gpointer block = label().data;
    EXPECT_EQ(replace("Label", "s", bytes_of_text("rear")), MOX_OK);
    EXPECT_EQ(label().data, block);
    EXPECT_EQ(stored_bytes(label()), bytes_of_text("rear"));
}

TEST_F(ReplacedValue, MayGrowAgainWithinTheCapacityItOnceHad) {
    replace("Label", "s", bytes_of_text("a"));
    const gpointer block = label().data;
    EXPECT_EQ(replace("Label", "s", bytes_of_text("four")), MOX_OK);
    EXPECT_EQ(label().data, block);
    EXPECT_EQ(stored_bytes(label()), bytes_of_text("four"));
}

TEST_F(ReplacedValue, ThatThePoolHasNoRoomForLeavesTheOldOneWhole) {
    const SERIALISED_PROPERTY_S before = label();
    gint32 result = 0;
    space::fail_allocation(1);
    mox::test::stdout_of([&] { result = replace("Label", "s", bytes_of_text("a longer text")); });
    EXPECT_EQ(result, MOX_ERR_INTERNAL);
    EXPECT_EQ(label().data, before.data);
    EXPECT_EQ(label().capacity, before.capacity);
    EXPECT_EQ(label().state.all, before.state.all);
    EXPECT_EQ(stored_bytes(label()), bytes_of_text("left"));
    EXPECT_EQ(osal::held(), 0U);
}

TEST_F(ReplacedValue, IsNotAnnounced) {
    ASSERT_NE(cls_create_class("Fan"), nullptr);
    cls_add_listener_port(cls_get_class("Fan"), "Speed", 31, 8);
    EXPECT_EQ(replace("Speed", "u", bytes_of<guint32>(8)), MOX_OK);
    EXPECT_EQ(osal::send_calls(), 0U);
    const auto* const local = static_cast<const LOCAL_PROPERTY_S*>(
        g_hash_table_lookup(record_of("Fan1")->property_hash, "Speed"));
    EXPECT_EQ(local->change_cnt, 0U);
}

TEST_F(ReplacedValue, IsTakenForAReadOnlyObjectUnderConstruction) {
    record_of("Fan1")->status = OBJECT_MXD_READY;
    EXPECT_EQ(record_of("Fan1")->capability, OBJECT_READ_ONLY);
    EXPECT_EQ(replace("Speed", "u", bytes_of<guint32>(8)), MOX_OK);
}

}  // namespace
