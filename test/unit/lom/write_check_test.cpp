// What a write is refused for. What is checked first decides which code a caller sees, and a write
// that is refused changes nothing.
#include <gtest/gtest.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

class RefusedWrite : public WriteFixture {
protected:
    void SetUp() override {
        WriteFixture::SetUp();
        before_ = property_of("Fan1", "Speed").state.all;
    }

    static void lock_up() { lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY); }

    void TearDown() override {
        EXPECT_EQ(property_of("Fan1", "Speed").state.all & ~4U, before_);
        EXPECT_EQ(stored_bytes(property_of("Fan1", "Speed")), bytes_of<guint32>(1200));
        EXPECT_EQ(sent_events(), Texts{});
        EXPECT_EQ(entry_of("Fan1", "Speed").change_cnt, 0U);
        EXPECT_EQ(fake::persist_texts(), Texts{});
        WriteFixture::TearDown();
    }

    guint32 before_ = 0;
};

TEST_F(RefusedWrite, ToAnUnknownObject) {
    EXPECT_EQ(write("Fan9", "Speed", speed(1), PER_MODE_RESET), -2009);
}

TEST_F(RefusedWrite, ToNoObject) {
    const Value value = owned(speed(1));
    EXPECT_EQ(lom_set_property_value(0, "Speed", value.get(), PER_MODE_RESET, FALSE), -2009);
}

TEST_F(RefusedWrite, ToAHandleThatWasNeverGivenOut) {
    const Value value = owned(speed(1));
    EXPECT_EQ(lom_set_property_value(0x7ffffff0, "Speed", value.get(), PER_MODE_RESET, FALSE),
              -2009);
    EXPECT_EQ(lom_set_property_value(-5, "Speed", value.get(), PER_MODE_RESET, FALSE), -2009);
}

TEST_F(RefusedWrite, ToAnUnknownObjectWithNothingElseRight) {
    EXPECT_EQ(lom_set_property_value(handle_of("Fan9"), nullptr, nullptr, PER_MODE_RESET, FALSE),
              -2009);
}

TEST_F(RefusedWrite, ToAnObjectThatIsMarkedDeleted) {
    record_of("Fan1")->status = OBJECT_MARK_DEL;
    EXPECT_EQ(write("Fan1", "Speed", speed(1), PER_MODE_RESET), -2009);
    record_of("Fan1")->status = OBJECT_NORMAL;
}

TEST_F(RefusedWrite, ToAnObjectThatIsReadOnlyHere) {
    lock_up();
    EXPECT_EQ(write("Fan1", "Speed", speed(1), PER_MODE_RESET), -2014);
}

TEST_F(RefusedWrite, ToAReadOnlyObjectIsSeenBeforeItsPropertyIsMissed) {
    lock_up();
    EXPECT_EQ(write("Fan1", "Colour", speed(1)), -2014);
}

TEST_F(RefusedWrite, ToAReadOnlyObjectIsSeenBeforeARecordIsMissed) {
    lock_up();
    entry_of("Fan1", "Label").property_ptr = nullptr;
    EXPECT_EQ(write("Fan1", "Label", label("x")), -2014);
}

TEST_F(RefusedWrite, ToAReadOnlyObjectIsSeenBeforeAnOverride) {
    lock_up();
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(write("Fan1", "Speed", speed(1)), -2014);
}

TEST_F(RefusedWrite, ToAnUnknownProperty) {
    EXPECT_EQ(write("Fan1", "Colour", speed(1), PER_MODE_RESET), -2010);
}

TEST_F(RefusedWrite, ToNoProperty) {
    const Value value = owned(speed(1));
    EXPECT_EQ(
        lom_set_property_value(handle_of("Fan1"), nullptr, value.get(), PER_MODE_RESET, FALSE),
        -2010);
}

TEST_F(RefusedWrite, ToAnObjectWithoutAPropertyTable) {
    GHashTable* const table = record_of("Fan1")->property_hash;
    record_of("Fan1")->property_hash = nullptr;
    EXPECT_EQ(write("Fan1", "Speed", speed(1)), -2010);
    record_of("Fan1")->property_hash = table;
}

TEST_F(RefusedWrite, ToAnUnknownPropertyIsSeenBeforeTheValueIsMissed) {
    EXPECT_EQ(
        lom_set_property_value(handle_of("Fan1"), "Colour", nullptr, PER_MODE_NOSUPPORT, FALSE),
        -2010);
}

TEST_F(RefusedWrite, ToAPropertyWithoutARecord) {
    entry_of("Fan1", "Label").property_ptr = nullptr;
    EXPECT_EQ(write("Fan1", "Label", label("x"), PER_MODE_RESET), -2000);
}

TEST_F(RefusedWrite, ToAPropertyWithoutARecordIsSeenBeforeTheValueIsMissed) {
    entry_of("Fan1", "Label").property_ptr = nullptr;
    EXPECT_EQ(
        lom_set_property_value(handle_of("Fan1"), "Label", nullptr, PER_MODE_NOSUPPORT, FALSE),
        -2000);
}

TEST_F(RefusedWrite, ToAnOverriddenProperty) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(write("Fan1", "Speed", speed(1), PER_MODE_RESET), -2019);
}

TEST_F(RefusedWrite, ToAnOverriddenPropertyAlsoWhenTheValueIsEqual) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(write("Fan1", "Speed", speed(1200), PER_MODE_RESET), -2019);
}

TEST_F(RefusedWrite, ToAnOverriddenPropertyIsSeenBeforeAWrongType) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(write("Fan1", "Speed", label("x")), -2019);
}

TEST_F(RefusedWrite, ToAnOverriddenPropertyIsSeenBeforeTheValueIsMissed) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(
        lom_set_property_value(handle_of("Fan1"), "Speed", nullptr, PER_MODE_NOSUPPORT, FALSE),
        -2019);
}

TEST_F(RefusedWrite, ToAnOverriddenReferenceIsSeenBeforeItsTargetIsLookedFor) {
    add_view("Fan9.Speed");
    property_of("View", "Twin").state.bit.override = 1;
    EXPECT_EQ(write("View", "Twin", speed(1)), -2019);
}

TEST_F(RefusedWrite, OfNoValue) {
    EXPECT_EQ(lom_set_property_value(handle_of("Fan1"), "Speed", nullptr, PER_MODE_RESET, FALSE),
              -2001);
}

TEST_F(RefusedWrite, OfAnotherType) {
    EXPECT_EQ(write("Fan1", "Speed", g_variant_new_int32(1), PER_MODE_RESET), -2012);
    EXPECT_EQ(write("Fan1", "Speed", g_variant_new_double(1), PER_MODE_RESET), -2012);
    EXPECT_EQ(write("Fan1", "Speed", label("1"), PER_MODE_RESET), -2012);
    EXPECT_EQ(write("Fan1", "Label", speed(1), PER_MODE_RESET), -2012);
    EXPECT_EQ(write("Fan1", "Label", texts_value({"x"}), PER_MODE_RESET), -2012);
}

TEST_F(RefusedWrite, OfAnotherTypeIsSeenBeforeAnUnsupportedOne) {
    EXPECT_EQ(write("Fan1", "Speed", g_variant_new_int64(1)), -2012);
    EXPECT_EQ(write("Fan1", "Serial", speed(1)), -2012);
}

TEST_F(RefusedWrite, OfAnotherTypeIsSeenBeforeTheSemaphoreIsTaken) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(write("Fan1", "Speed", label("x")), -2012);
}

TEST_F(RefusedWrite, OfAnotherTypeNeverReachesTheHook) {
    const RemoteSet remote;
    EXPECT_EQ(write("Fan1", "Speed", label("longer than a number")), -2012);
    EXPECT_EQ(remote.calls(), Texts{});
}

TEST_F(RefusedWrite, ToATypeFieldThatNamesNothing) {
    property_of("Fan1", "Label").type[0] = '\0';
    EXPECT_EQ(write("Fan1", "Label", label("x")), -2012);
    std::memcpy(property_of("Fan1", "Label").type, "a", 2);
    EXPECT_EQ(write("Fan1", "Label", label("x")), -2012);
    std::memcpy(property_of("Fan1", "Label").type, "s", 2);
}

TEST_F(RefusedWrite, ToATypeFieldWithoutATerminator) {
    std::memcpy(property_of("Fan1", "Label").type, "aaaaas", 6);
    EXPECT_EQ(write("Fan1", "Label", label("x")), -2012);
    std::memcpy(property_of("Fan1", "Label").type, "s\0\0\0\0", 6);
}

TEST_F(RefusedWrite, OfATypeThatTheModelCannotStore) {
    EXPECT_EQ(write("Fan1", "Serial", g_variant_new_uint64(5), PER_MODE_RESET), -2013);
    EXPECT_EQ(stored_bytes(property_of("Fan1", "Serial")), bytes_of<guint64>(5));
}

TEST_F(RefusedWrite, OfAnUnsupportedTypeIsSeenBeforeTheSemaphoreIsTaken) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(write("Fan1", "Serial", g_variant_new_uint64(6)), -2013);
}

TEST_F(RefusedWrite, OfAnUnsupportedTypeNeverReachesTheHook) {
    const RemoteSet remote;
    EXPECT_EQ(write("Fan1", "Pair", pair(), PER_MODE_RESET), -2013);
    EXPECT_EQ(remote.calls(), Texts{});
}

TEST_F(RefusedWrite, WithoutTheSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(write("Fan1", "Speed", speed(1), PER_MODE_RESET), -2015);
}

TEST_F(RefusedWrite, WithoutTheSemaphoreAlsoWhenTheValueIsEqual) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(write("Fan1", "Speed", speed(1200), PER_MODE_RESET), -2015);
}

TEST_F(RefusedWrite, WithoutTheSemaphoreNeverReachesTheHook) {
    const RemoteSet remote;
    fail_semaphore_of("Fan1");
    EXPECT_EQ(write("Fan1", "Label", label("abcd")), -2015);
    EXPECT_EQ(remote.calls(), Texts{});
}

}  // namespace
}  // namespace mox::test
