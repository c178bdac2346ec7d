// Properties that name another object's property: the read is the target's, whatever the way there.
#include <gtest/gtest.h>

#include "value_fixture.hpp"

namespace mox::test {
namespace {

const std::string kReferenceType("s\0\0p", 4);

// "Fan2.Speed" has 1200 in memory and 1300 at its accessor; "View.Twin" names it.
class ReferenceRead : public ValueFixture {
protected:
    void SetUp() override {
        ValueFixture::SetUp();
        add_object({.name = "Fan2",
                    .properties = {number<guint32>("Speed", "u", 1200, "rw", "Tacho"),
                                   text("a.b", "dotted"), text("", "nameless")}});
        fake::driver_program_value<guint32>("Tacho", 1300);
        add_view("Fan2.Speed");
    }

    static void add_view(const std::string& target) {
        add_object(
            {.name = "View", .class_name = "Look", .properties = {reference("Twin", target)}});
    }

    static std::string value_at(const std::string& target) {
        add_view(target);
        return stored_value("View", "Twin");
    }

    // A chain of objects L0, L1, ... whose "Next" names the following one's; the last names `end`.
    static void add_chain(guint count, const std::string& end) {
        for (guint index = 0; index < count; ++index) {
            const std::string next = "L" + std::to_string(index + 1) + ".Next";
            add_object({.name = "L" + std::to_string(index),
                        .properties = {reference("Next", index + 1 == count ? end : next)}});
        }
    }
};

TEST_F(ReferenceRead, GivesTheTargetsValue) {
    EXPECT_EQ(stored_value("View", "Twin"), "uint32 1200");
}

TEST_F(ReferenceRead, OfAStoredValueAsksNoHardware) {
    stored_value("View", "Twin");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReferenceRead, IsLiveWhenThatIsAskedFor) {
    EXPECT_EQ(live_value("View", "Twin"), "uint32 1300");
}

TEST_F(ReferenceRead, GoesThroughTheOwnerWhenThatIsAskedFor) {
    lom_set_remote_get_property_func(nullptr);
    EXPECT_EQ(remote_value("View", "Twin"), "code -2000");
    EXPECT_TRUE(fake::driver_reads().empty());
}

TEST_F(ReferenceRead, GivesTheTargetsCode) {
    fake::driver_fail_reads_of("Tacho", -2109);
    EXPECT_EQ(live_value("View", "Twin"), "code -2109");
}

TEST_F(ReferenceRead, FailsWithoutTheSemaphoreThatGuardsItsText) {
    fail_semaphore_of("View");
    EXPECT_EQ(stored_value("View", "Twin"), "code -2015");
}

TEST_F(ReferenceRead, FailsWithoutTheTargetsSemaphore) {
    fail_semaphore_of("Fan2");
    EXPECT_EQ(stored_value("View", "Twin"), "code -2015");
}

TEST_F(ReferenceRead, WritesBackToTheTargetAndAnnouncesIt) {
    set_writable("Fan2");
    listen("Fan", "Speed", 7);
    listen("Look", "Twin", 8);
    live_value("View", "Twin");
    EXPECT_EQ(stored_value("Fan2", "Speed"), "uint32 1300");
    EXPECT_EQ(sent_events(), Texts{"7: Fan2.Speed = uint32 1300"});
    EXPECT_EQ(entry_of("View", "Twin").change_cnt, 0U);
}

TEST_F(ReferenceRead, WritesNothingBackForTheReadersOwnRight) {
    set_writable("View");
    live_value("View", "Twin");
    EXPECT_EQ(stored_value("Fan2", "Speed"), "uint32 1200");
}

TEST_F(ReferenceRead, IgnoresItsOwnOverride) {
    property_of("View", "Twin").state.bit.override = 1;
    EXPECT_EQ(live_value("View", "Twin"), "uint32 1300");
}

TEST_F(ReferenceRead, HeedsTheTargetsOverride) {
    property_of("Fan2", "Speed").state.bit.override = 1;
    EXPECT_EQ(live_value("View", "Twin"), "uint32 1200");
}

TEST_F(ReferenceRead, NeverAsksItsOwnAccessor) {
    add_object(
        {.name = "View",
         .properties = {{"Twin", kReferenceType, bytes_of_text("Fan2.Speed"), "rw", "Adc"}}});
    set_writable("View");
    fake::driver_program_value<guint32>("Adc", 5);
    EXPECT_EQ(live_value("View", "Twin"), "uint32 1300");
    EXPECT_TRUE(fake::driver_reads_of("Adc").empty());
}

TEST_F(ReferenceRead, IgnoresItsOwnAccessRights) {
    property_of("View", "Twin").state.all = 0;
    EXPECT_EQ(live_value("View", "Twin"), "uint32 1300");
    EXPECT_EQ(property_of("View", "Twin").state.all, 0U);
}

TEST_F(ReferenceRead, IgnoresTheTypesSecondAndThirdByte) {
    std::memcpy(property_of("View", "Twin").type, "sxyp", 4);
    EXPECT_EQ(stored_value("View", "Twin"), "uint32 1200");
}

TEST_F(ReferenceRead, IsNotMeantByAnotherMarker) {
    property_of("View", "Twin").type[3] = 'o';
    EXPECT_EQ(stored_value("View", "Twin"), "'Fan2.Speed'");
}

TEST_F(ReferenceRead, IsNotMeantByTheMarkerBehindAnArray) {
    std::memcpy(property_of("View", "Twin").type, "ay\0p", 4);
    property_of("View", "Twin").size = 1;
    EXPECT_EQ(stored_value("View", "Twin"), "[byte 0x46]");
}

TEST_F(ReferenceRead, WithoutADotNamesNoProperty) {
    EXPECT_EQ(value_at("Fan2"), "code -2010");
}

TEST_F(ReferenceRead, WithoutADotToAnUnknownObjectFindsNoObject) {
    EXPECT_EQ(value_at("Fan9"), "code -2009");
}

TEST_F(ReferenceRead, ToAnUnknownObjectFindsNoObject) {
    EXPECT_EQ(value_at("Fan9.Speed"), "code -2009");
}

TEST_F(ReferenceRead, ToAnUnknownPropertyFindsNoProperty) {
    EXPECT_EQ(value_at("Fan2.Colour"), "code -2010");
}

TEST_F(ReferenceRead, WithoutAnObjectNameFindsNoObject) {
    EXPECT_EQ(value_at(".Speed"), "code -2009");
}

TEST_F(ReferenceRead, OfEmptyTextFindsNoObject) {
    EXPECT_EQ(value_at(""), "code -2009");
}

TEST_F(ReferenceRead, SplitsItsTextAtTheFirstDotOnly) {
    EXPECT_EQ(value_at("Fan2.a.b"), "'dotted'");
}

TEST_F(ReferenceRead, WithADotAtItsEndNamesAnEmptyProperty) {
    EXPECT_EQ(value_at("Fan2."), "'nameless'");
}

TEST_F(ReferenceRead, ToAnObjectThatIsMarkedDeletedFindsNoObject) {
    record_of("Fan2")->status = OBJECT_MARK_DEL;
    EXPECT_EQ(stored_value("View", "Twin"), "code -2009");
}

TEST_F(ReferenceRead, WithAnObjectNameThatNoObjectCanHaveFindsNoObject) {
    EXPECT_EQ(value_at(std::string(200, 'F') + ".Speed"), "code -2009");
}

TEST_F(ReferenceRead, WithAPropertyNameThatNoPropertyCanHaveFindsNoProperty) {
    EXPECT_EQ(value_at("Fan2." + std::string(200, 'S')), "code -2010");
}

TEST_F(ReferenceRead, ReadsTextThatIsNotTerminated) {
    const std::string target = "Fan2.Speed";
    add_object(
        {.name = "View", .properties = {{"Twin", kReferenceType, {target.begin(), target.end()}}}});
    EXPECT_EQ(stored_value("View", "Twin"), "uint32 1200");
}

TEST_F(ReferenceRead, WithoutTextCannotBeFollowed) {
    SERIALISED_PROPERTY_S& twin = property_of("View", "Twin");
    gpointer const text = twin.data;
    twin.data = nullptr;
    EXPECT_EQ(stored_value("View", "Twin"), "code -2000");
    twin.data = text;
}

TEST_F(ReferenceRead, GivesTheTypeOfTheTargetInAPackage) {
    Package package;
    package.code = lom_get_property_data(handle_of("View"), "Twin", FALSE, &package.tlv, FALSE);
    EXPECT_EQ(package.type(), type_field("u"));
    EXPECT_EQ(package.bytes(), bytes_of<guint32>(1200));
}

TEST_F(ReferenceRead, ReachesAnotherPropertyOfTheSameObject) {
    add_object({.name = "Self",
                .properties = {reference("Twin", "Self.Speed"), number<guint8>("Speed", "y", 3)}});
    EXPECT_EQ(stored_value("Self", "Twin"), "byte 0x03");
}

TEST_F(ReferenceRead, FollowsAReferenceToAReference) {
    add_chain(2, "Fan2.Speed");
    EXPECT_EQ(live_value("L0", "Next"), "uint32 1300");
}

TEST_F(ReferenceRead, FollowsAThousandReferences) {
    add_chain(1000, "Fan2.Speed");
    EXPECT_EQ(live_value("L0", "Next"), "uint32 1300");
}

TEST_F(ReferenceRead, GivesTheCodeOfTheLastOfAThousandReferences) {
    add_chain(1000, "Fan9.Speed");
    EXPECT_EQ(live_value("L0", "Next"), "code -2009");
}

TEST_F(ReferenceRead, ThatNamesItselfFails) {
    add_chain(1, "L0.Next");
    EXPECT_EQ(stored_value("L0", "Next"), "code -2000");
}

TEST_F(ReferenceRead, InACycleOfTwoFails) {
    add_chain(2, "L0.Next");
    EXPECT_EQ(stored_value("L0", "Next"), "code -2000");
}

TEST_F(ReferenceRead, InACycleOfThreeFails) {
    add_chain(3, "L0.Next");
    EXPECT_EQ(stored_value("L1", "Next"), "code -2000");
}

TEST_F(ReferenceRead, InACycleOfAHundredFails) {
    add_chain(100, "L0.Next");
    EXPECT_EQ(stored_value("L50", "Next"), "code -2000");
}

TEST_F(ReferenceRead, ThatLeadsIntoACycleFails) {
    add_chain(20, "L15.Next");
    EXPECT_EQ(stored_value("L0", "Next"), "code -2000");
}

TEST_F(ReferenceRead, InACycleFailsLiveToo) {
    add_chain(2, "L0.Next");
    EXPECT_EQ(live_value("L0", "Next"), "code -2000");
}

// The copy hook of a process that holds View alone: it makes Far, with Speed 7.
OBJECT_HEAD_S* far_record = nullptr;
std::vector<std::pair<std::string, gsize>> fetched;
gsize semaphores_held = 0;

OBJECT_HEAD_S* fetch(const gchar* object_name, gsize size) {
    fetched.emplace_back(object_name, size);
    semaphores_held += fake::osal::held();
    return std::exchange(far_record, nullptr);
}

class FetchedReference : public ReferenceRead {
protected:
    void SetUp() override {
        ReferenceRead::SetUp();
        fetched.clear();
        semaphores_held = 0;
        far_record = nullptr;
        lom_set_copy_func(fetch);
        add_view("Far.Speed");
    }
};

TEST_F(FetchedReference, AsksForAnUnknownTargetByName) {
    EXPECT_EQ(stored_value("View", "Twin"), "code -2009");
    ASSERT_EQ(fetched.size(), 1U);
    EXPECT_EQ(fetched[0].first, "Far");
    EXPECT_EQ(fetched[0].second, sizeof(OBJECT_HEAD_S));
}

TEST_F(FetchedReference, HoldsNoSemaphoreWhileItAsks) {
    stored_value("View", "Twin");
    ASSERT_EQ(fetched.size(), 1U);
    EXPECT_EQ(semaphores_held, 0U);
}

TEST_F(FetchedReference, ReadsTheTargetThatCame) {
    far_record = make_embryo({.name = "Far", .properties = {number<guint8>("Speed", "y", 7)}});
    EXPECT_EQ(stored_value("View", "Twin"), "byte 0x07");
}

TEST_F(FetchedReference, AsksOnceForATargetThatCame) {
    far_record = make_embryo({.name = "Far", .properties = {number<guint8>("Speed", "y", 7)}});
    stored_value("View", "Twin");
    stored_value("View", "Twin");
    EXPECT_EQ(fetched.size(), 1U);
}

TEST_F(FetchedReference, DoesNotAskForATargetThatIsKnown) {
    add_view("Fan2.Speed");
    stored_value("View", "Twin");
    EXPECT_TRUE(fetched.empty());
}

}  // namespace
}  // namespace mox::test
