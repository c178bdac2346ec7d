// Overriding a property that names another object's: the target is forced, and announced first;
// then every object that led there, from the target outwards.
#include <gtest/gtest.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

class ReferenceOverride : public WriteFixture {
protected:
    void SetUp() override {
        WriteFixture::SetUp();
        add_view("Fan1.Speed");
    }

    gint32 force_view() { return override_with("View", "Twin", speed(9), &modified_); }

    // View -> Middle -> Fan1.
    static void add_middle() {
        add_object({.name = "Middle",
                    .class_name = "Between",
                    .properties = {reference("Next", "Fan1.Speed")}});
        listen("Between", "Next", 4);
        add_view("Middle.Next");
    }

    gint32 force_first_link(guint links, const std::string& end) {
        add_links(links, end);
        return override_with("L", "N0", speed(9), &modified_);
    }

    gboolean modified_ = FALSE;
};

TEST_F(ReferenceOverride, ForcesTheTarget) {
    EXPECT_EQ(force_view(), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 9");
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
    EXPECT_EQ(modified_, TRUE);
}

TEST_F(ReferenceOverride, LeavesTheReferencesOwnTextAndState) {
    force_view();
    EXPECT_EQ(stored_bytes(property_of("View", "Twin")), bytes_of_text("Fan1.Speed"));
    EXPECT_EQ(state_of("View", "Twin"), "");
}

TEST_F(ReferenceOverride, IsAnnouncedForTheTargetAndThenForTheReference) {
    force_view();
    EXPECT_EQ(sent_events(), (Texts{"7: Fan1.Speed = uint32 9", "9: View.Twin = uint32 9"}));
}

TEST_F(ReferenceOverride, IsAnnouncedForBothWithTheValueThatIsStored) {
    const Value value = untrusted("u", {1, 2, 3});
    EXPECT_EQ(lom_override_property_value(handle_of("View"), "Twin", value.get(), PROPERTY_OVERRIDE,
                                          nullptr),
              0);
    const auto sent = mox::fake::osal::sent();
    ASSERT_EQ(sent.size(), 2U);
    for (const auto& message : sent) {
        MSG_EVENT_DATA_HEAD_S event = {};
        std::memcpy(&event, message.bytes.data() + sizeof(MOX_MSG_HEAD_S), sizeof event);
        EXPECT_EQ(event.size, 4U);
    }
}

TEST_F(ReferenceOverride, IsAnnouncedForBothAlsoWhenNobodyAsksWhetherAValueWasTaken) {
    EXPECT_EQ(override_with("View", "Twin", speed(9)), 0);
    EXPECT_EQ(sent_events(), (Texts{"7: Fan1.Speed = uint32 9", "9: View.Twin = uint32 9"}));
}

TEST_F(ReferenceOverride, IsAnnouncedFromTheTargetOutwards) {
    add_middle();
    force_view();
    EXPECT_EQ(sent_events(), (Texts{"7: Fan1.Speed = uint32 9", "4: Middle.Next = uint32 9",
                                    "9: View.Twin = uint32 9"}));
}

TEST_F(ReferenceOverride, WhoseTargetCannotBeAnnouncedIsLostForThoseBehindIt) {
    static std::vector<gint32> lost;
    lost.clear();
    add_middle();
    ipc_msg_set_lost_func([](gint32 port, guint32, gint32 result) {
        EXPECT_EQ(result, -1234);
        lost.push_back(port);
    });
    fake::osal::fail_send(1, -1234);
    gint32 code = 0;
    messages_of([&] { code = force_view(); });
    ipc_msg_set_lost_func(nullptr);
    EXPECT_EQ(code, -1234);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 9");
    ASSERT_EQ(lost.size(), 3U);
    EXPECT_EQ(lost[1], 4) << "the middle, whose listener is 4, comes before the view";
}

TEST_F(ReferenceOverride, ThatForcesNothingLosesNothing) {
    static int lost = 0;
    ipc_msg_set_lost_func([](gint32, guint32, gint32) { ++lost; });
    EXPECT_NE(override_with("View", "Twin", g_variant_new_string("x"), &modified_), 0);
    ipc_msg_set_lost_func(nullptr);
    EXPECT_EQ(lost, 0);
}

TEST_F(ReferenceOverride, CountsOneEventForEachObjectOnTheWay) {
    add_middle();
    force_view();
    EXPECT_EQ(entry_of("Fan1", "Speed").change_cnt, 1U);
    EXPECT_EQ(entry_of("Middle", "Next").change_cnt, 1U);
    EXPECT_EQ(entry_of("View", "Twin").change_cnt, 1U);
}

TEST_F(ReferenceOverride, NeedsNoRightToWriteAnyOfThem) {
    lom_set_writable(handle_of("View"), OBJECT_READ_ONLY);
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(force_view(), 0);
}

TEST_F(ReferenceOverride, WhoseTargetCannotBeAnnouncedStopsThere) {
    fake::osal::fail_sends_to(7, -1234);
    gint32 code = 0;
    messages_of([&] { code = force_view(); });
    EXPECT_EQ(code, -1234);
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(entry_of("View", "Twin").change_cnt, 0U);
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
}

TEST_F(ReferenceOverride, GivesTheCodeOfItsOwnEvent) {
    fake::osal::fail_sends_to(9, -1235);
    gint32 code = 0;
    messages_of([&] { code = force_view(); });
    EXPECT_EQ(code, -1235);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 9");
}

TEST_F(ReferenceOverride, ThatCannotBeAnnouncedOnTheWayStopsThere) {
    add_middle();
    fake::osal::fail_sends_to(4, -1236);
    gint32 code = 0;
    messages_of([&] { code = force_view(); });
    EXPECT_EQ(code, -1236);
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 9"});
    EXPECT_EQ(entry_of("View", "Twin").change_cnt, 0U);
}

TEST_F(ReferenceOverride, TakesTheTypeOfTheTarget) {
    EXPECT_EQ(override_with("View", "Twin", label("x"), &modified_), -2012);
    EXPECT_EQ(modified_, FALSE);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(ReferenceOverride, WithNoValueIsRefused) {
    EXPECT_EQ(lom_override_property_value(handle_of("View"), "Twin", nullptr, PROPERTY_OVERRIDE,
                                          &modified_),
              -2001);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(ReferenceOverride, BeyondTheTargetsRoomWithoutAHookIsAnnouncedForBoth) {
    add_view("Fan1.Label");
    EXPECT_EQ(override_with("View", "Twin", label("lefty"), &modified_), 0);
    EXPECT_EQ(sent_events(), (Texts{"8: Fan1.Label = 'lefty'", "9: View.Twin = 'lefty'"}));
    EXPECT_EQ(state_of("Fan1", "Label"), "");
}

TEST_F(ReferenceOverride, ThatTheHookRefusesIsAnnouncedForNeither) {
    add_view("Fan1.Label");
    const RemoteSet remote(-777);
    EXPECT_EQ(override_with("View", "Twin", label("lefty"), &modified_), -777);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(ReferenceOverride, HasLetGoOfTheReferencingObjectByThen) {
    add_view("Fan1.Label");
    gint32 references = 0;
    const RemoteSet remote(0, [&references] { references = record_of("View")->ref_count; });
    override_with("View", "Twin", label("lefty"));
    EXPECT_EQ(references, 1);
}

TEST_F(ReferenceOverride, ToAnUnknownObjectFindsNoObject) {
    add_view("Fan9.Speed");
    EXPECT_EQ(force_view(), -2009);
}

TEST_F(ReferenceOverride, ToAnUnknownPropertyFindsNoProperty) {
    add_view("Fan1.Colour");
    EXPECT_EQ(force_view(), -2010);
}

TEST_F(ReferenceOverride, WithoutADotNamesNoProperty) {
    add_view("Fan1");
    EXPECT_EQ(force_view(), -2010);
}

TEST_F(ReferenceOverride, OfEmptyTextFindsNoObject) {
    add_view("");
    EXPECT_EQ(force_view(), -2009);
}

TEST_F(ReferenceOverride, WithoutTextCannotBeFollowed) {
    SERIALISED_PROPERTY_S& twin = property_of("View", "Twin");
    gpointer const text = twin.data;
    twin.data = nullptr;
    EXPECT_EQ(force_view(), -2000);
    twin.data = text;
}

TEST_F(ReferenceOverride, FailsWithoutTheTargetsSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(force_view(), -2015);
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(ReferenceOverride, FollowsVeryManyReferences) {
    EXPECT_EQ(force_first_link(kVeryManyLinks, "Fan1.Speed"), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 9");
    EXPECT_EQ(entry_of("L", "N0").change_cnt, 1U);
    EXPECT_EQ(entry_of("L", "N99999").change_cnt, 1U);
}

TEST_F(ReferenceOverride, BehindVeryManyReferencesThatEndNowhereFindsNoObject) {
    EXPECT_EQ(force_first_link(kVeryManyLinks, "Fan9.Speed"), -2009);
    EXPECT_EQ(entry_of("L", "N0").change_cnt, 0U);
}

TEST_F(ReferenceOverride, ThatNamesItselfFails) {
    EXPECT_EQ(force_first_link(1, "L.N0"), -2000);
    EXPECT_EQ(modified_, FALSE);
}

TEST_F(ReferenceOverride, InACycleOfTwoFails) {
    EXPECT_EQ(force_first_link(2, "L.N0"), -2000);
    EXPECT_EQ(entry_of("L", "N0").change_cnt, 0U);
}

TEST_F(ReferenceOverride, InACycleOfAThousandFails) {
    EXPECT_EQ(force_first_link(1000, "L.N0"), -2000);
}

}  // namespace
}  // namespace mox::test
