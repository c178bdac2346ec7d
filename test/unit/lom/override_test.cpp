// Forcing a value: reads show it and writes are refused until the override is cancelled.
#include <gtest/gtest.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

// "Fan1.Temp" has 20 in memory and 30 at its accessor.
class Override : public WriteFixture {
protected:
    void SetUp() override {
        WriteFixture::SetUp();
        add_object(
            {.name = "Probe", .properties = {number<gint32>("Temp", "i", 20, "rw", "Sensor")}});
        fake::driver_program_value<gint32>("Sensor", 30);
    }

    gboolean modified_ = FALSE;
};

TEST_F(Override, StoresTheValue) {
    EXPECT_EQ(override_with("Fan1", "Speed", speed(9)), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 9");
}

TEST_F(Override, MarksThePropertyAndNothingElse) {
    override_with("Fan1", "Speed", speed(9));
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
}

TEST_F(Override, KeepsTheOtherBits) {
    property_of("Fan1", "Speed").state.all = 0xABCDE07BU;
    override_with("Fan1", "Speed", speed(9));
    EXPECT_EQ(property_of("Fan1", "Speed").state.all, 0xABCDE07FU);
}

TEST_F(Override, IsAnnounced) {
    override_with("Fan1", "Speed", speed(9));
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 9"});
}

TEST_F(Override, IsAnnouncedUnderEveryNameOfTheObject) {
    add_object({.name = "Alias", .class_name = "Seen"});
    ASSERT_EQ(lom_set_reference("Alias", "Fan1"), 0);
    listen("Seen", "Speed", 5);
    override_with("Fan1", "Speed", speed(9));
    EXPECT_EQ(sent_events(), (Texts{"7: Fan1.Speed = uint32 9", "5: Alias.Speed = uint32 9"}));
}

TEST_F(Override, TellsThatAValueWasTaken) {
    override_with("Fan1", "Speed", speed(9), &modified_);
    EXPECT_EQ(modified_, TRUE);
}

TEST_F(Override, WithAnEqualValueIsAnnouncedAndTakenAllTheSame) {
    EXPECT_EQ(override_with("Fan1", "Speed", speed(1200), &modified_), 0);
    EXPECT_EQ(modified_, TRUE);
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1200"});
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
}

TEST_F(Override, IsReplacedByAnother) {
    override_with("Fan1", "Speed", speed(9));
    EXPECT_EQ(override_with("Fan1", "Speed", speed(10)), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 10");
}

TEST_F(Override, WorksOnAnObjectThatIsReadOnlyHere) {
    EXPECT_EQ(override_with("Probe", "Temp", g_variant_new_int32(-40)), 0);
    EXPECT_EQ(stored_value("Probe", "Temp"), "-40");
}

TEST_F(Override, HidesTheHardware) {
    override_with("Probe", "Temp", g_variant_new_int32(-40));
    EXPECT_EQ(live_value("Probe", "Temp"), "-40");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(Override, RefusesOrdinaryWrites) {
    override_with("Fan1", "Speed", speed(9));
    EXPECT_EQ(write("Fan1", "Speed", speed(10)), -2019);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 9");
}

TEST_F(Override, IsNeverSaved) {
    property_of("Fan1", "Speed").state.bit.modified = 1;
    override_with("Fan1", "Speed", speed(9));
    EXPECT_EQ(fake::persist_texts(), Texts{});
    EXPECT_EQ(state_of("Fan1", "Speed"), "modified override");
}

TEST_F(Override, TakesTheSizeOfTheValue) {
    EXPECT_EQ(override_with("Fan1", "Label", label("le")), 0);
    EXPECT_EQ(property_of("Fan1", "Label").size, 3U);
    EXPECT_EQ(stored_value("Fan1", "Label"), "'le'");
}

TEST_F(Override, TakesAValueThatFillsTheRoom) {
    const RemoteSet remote;
    EXPECT_EQ(override_with("Fan1", "Label", label("west")), 0);
    EXPECT_EQ(stored_value("Fan1", "Label"), "'west'");
    EXPECT_EQ(remote.calls(), Texts{});
}

TEST_F(Override, GivesTheCodeOfItsEvent) {
    fake::osal::fail_sends_to(7, -1234);
    gint32 code = 0;
    messages_of([&] { code = override_with("Fan1", "Speed", speed(9), &modified_); });
    EXPECT_EQ(code, -1234);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 9");
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
    EXPECT_EQ(modified_, TRUE);
}

TEST_F(Override, LeavesAFloatingValueFloating) {
    GVariant* const value = speed(9);
    lom_override_property_value(handle_of("Fan1"), "Speed", value, PROPERTY_OVERRIDE, nullptr);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(value);
}

TEST_F(Override, StoresNormalForm) {
    const Value value = untrusted("s", {'a', 'b'});
    EXPECT_EQ(lom_override_property_value(handle_of("Fan1"), "Label", value.get(),
                                          PROPERTY_OVERRIDE, nullptr),
              0);
    EXPECT_EQ(stored_bytes(property_of("Fan1", "Label")), std::vector<guint8>{0});
}

TEST_F(Override, HoldsNoSemaphoreWhenItIsDone) {
    override_with("Fan1", "Speed", speed(9));
    EXPECT_EQ(fake::osal::held(), 0U);
}

class CancelledOverride : public Override {
protected:
    void SetUp() override {
        Override::SetUp();
        property_of("Fan1", "Speed").state.bit.override = 1;
        property_of("Probe", "Temp").state.bit.override = 1;
    }
};

TEST_F(CancelledOverride, ClearsTheMarkAlone) {
    property_of("Fan1", "Speed").state.all = 0xABCDE07FU;
    EXPECT_EQ(cancel_override("Fan1", "Speed"), 0);
    EXPECT_EQ(property_of("Fan1", "Speed").state.all, 0xABCDE07BU);
}

TEST_F(CancelledOverride, LeavesTheValue) {
    cancel_override("Probe", "Temp");
    EXPECT_EQ(stored_value("Probe", "Temp"), "20");
}

TEST_F(CancelledOverride, HasNoUseForAValue) {
    const Value value = owned(label("of another type"));
    EXPECT_EQ(lom_override_property_value(handle_of("Fan1"), "Speed", value.get(),
                                          PROPERTY_CANCEL_OVERRIDE, &modified_),
              0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(modified_, FALSE);
}

TEST_F(CancelledOverride, IsNotAnnounced) {
    cancel_override("Fan1", "Speed");
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(entry_of("Fan1", "Speed").change_cnt, 0U);
}

TEST_F(CancelledOverride, LetsTheNextLiveReadAskTheHardware) {
    EXPECT_EQ(live_value("Probe", "Temp"), "20");
    cancel_override("Probe", "Temp");
    EXPECT_EQ(live_value("Probe", "Temp"), "30");
}

TEST_F(CancelledOverride, LetsTheNextWriteThrough) {
    ASSERT_EQ(write("Fan1", "Speed", speed(5)), -2019);
    cancel_override("Fan1", "Speed");
    EXPECT_EQ(write("Fan1", "Speed", speed(5)), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 5");
}

TEST_F(CancelledOverride, OfAPropertyThatWasNotOverriddenChangesNothing) {
    EXPECT_EQ(cancel_override("Fan1", "Label"), 0);
    EXPECT_EQ(state_of("Fan1", "Label"), "");
}

TEST_F(CancelledOverride, NeedsTheSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(cancel_override("Fan1", "Speed"), -2015);
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
}

TEST_F(CancelledOverride, NeedsTheSemaphoreAlsoWhenThereIsNothingToCancel) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(cancel_override("Fan1", "Label"), -2015);
}

TEST_F(CancelledOverride, OfAReferenceActsOnTheReferenceAlone) {
    add_view("Fan1.Speed");
    property_of("View", "Twin").state.bit.override = 1;
    EXPECT_EQ(cancel_override("View", "Twin"), 0);
    EXPECT_EQ(state_of("View", "Twin"), "");
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
}

TEST_F(CancelledOverride, OfAReferenceToNothingSucceeds) {
    add_view("Fan9.Speed");
    EXPECT_EQ(cancel_override("View", "Twin"), 0);
}

}  // namespace
}  // namespace mox::test
