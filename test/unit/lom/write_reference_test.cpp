// Writes to a property that names another object's property: the write is the target's alone.
#include <gtest/gtest.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

class ReferenceWrite : public WriteFixture {
protected:
    void SetUp() override {
        WriteFixture::SetUp();
        add_view("Fan1.Speed");
    }

    static gint32 write_to(const std::string& target) {
        add_view(target);
        return write("View", "Twin", speed(1300));
    }

    static gint32 write_first_link(guint links, const std::string& end) {
        add_links(links, end);
        return write("L", "N0", speed(1300));
    }
};

TEST_F(ReferenceWrite, StoresAtTheTarget) {
    EXPECT_EQ(write("View", "Twin", speed(1300)), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
    EXPECT_EQ(state_of("Fan1", "Speed"), "modified synced");
}

TEST_F(ReferenceWrite, LeavesTheReferencesOwnTextAndState) {
    write("View", "Twin", speed(1300), PER_MODE_PERMANENT, TRUE);
    EXPECT_EQ(stored_bytes(property_of("View", "Twin")), bytes_of_text("Fan1.Speed"));
    EXPECT_EQ(state_of("View", "Twin"), "");
}

TEST_F(ReferenceWrite, IsAnnouncedForTheTargetAlone) {
    write("View", "Twin", speed(1300));
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1300"});
    EXPECT_EQ(entry_of("View", "Twin").change_cnt, 0U);
}

TEST_F(ReferenceWrite, IsSavedUnderTheTargetsName) {
    EXPECT_EQ(write("View", "Twin", speed(1), PER_MODE_RESET, TRUE), 0);
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Fan1.Speed u:01000000 mode 1", "status Fan1.Speed = 123"}));
}

TEST_F(ReferenceWrite, GivesTheCodeOfTheTargetsSave) {
    fake::persist_answer(fake::PersistAction::save, PER_ERROR_FILE_WRITE_FAIL);
    EXPECT_EQ(write("View", "Twin", speed(1), PER_MODE_RESET), -4999984);
}

TEST_F(ReferenceWrite, TakesTheTypeOfTheTarget) {
    EXPECT_EQ(write("View", "Twin", label("Fan1.Label")), -2012);
    EXPECT_EQ(stored_bytes(property_of("View", "Twin")), bytes_of_text("Fan1.Speed"));
}

TEST_F(ReferenceWrite, NeedsTheRightToWriteTheReferencingObject) {
    add_view("Fan1.Speed", OBJECT_READ_ONLY);
    EXPECT_EQ(write("View", "Twin", speed(1300)), -2014);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
}

TEST_F(ReferenceWrite, NeedsTheRightToWriteTheTarget) {
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(write("View", "Twin", speed(1300)), -2014);
}

TEST_F(ReferenceWrite, NeedsTheRightToWriteEveryObjectOnTheWay) {
    add_object({.name = "Middle", .properties = {reference("Next", "Fan1.Speed")}});
    add_view("Middle.Next");
    EXPECT_EQ(write("View", "Twin", speed(1300)), -2014);
    set_writable("Middle");
    EXPECT_EQ(write("View", "Twin", speed(1300)), 0);
}

TEST_F(ReferenceWrite, HeedsTheTargetsOverride) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(write("View", "Twin", speed(1300)), -2019);
}

TEST_F(ReferenceWrite, HeedsAnOverrideOnTheWay) {
    add_object({.name = "Middle", .properties = {reference("Next", "Fan1.Speed")}});
    set_writable("Middle");
    property_of("Middle", "Next").state.bit.override = 1;
    add_view("Middle.Next");
    EXPECT_EQ(write("View", "Twin", speed(1300)), -2019);
}

TEST_F(ReferenceWrite, OfNoValueIsRefused) {
    EXPECT_EQ(lom_set_property_value(handle_of("View"), "Twin", nullptr, PER_MODE_RESET, FALSE),
              -2001);
}

TEST_F(ReferenceWrite, BeyondTheTargetsRoomNamesTheTarget) {
    add_view("Fan1.Label");
    const RemoteSet remote;
    EXPECT_EQ(write("View", "Twin", label("lefty")), 0);
    EXPECT_EQ(remote.calls(), Texts{"Fan1.Label = 'lefty'"});
    EXPECT_EQ(sent_events(), Texts{"8: Fan1.Label = 'lefty'"});
}

TEST_F(ReferenceWrite, HasLetGoOfTheReferencingObjectByThen) {
    add_view("Fan1.Label");
    gint32 references = 0;
    const RemoteSet remote(0, [&references] { references = record_of("View")->ref_count; });
    write("View", "Twin", label("lefty"));
    EXPECT_EQ(references, 1);
}

TEST_F(ReferenceWrite, WithoutADotNamesNoProperty) {
    EXPECT_EQ(write_to("Fan1"), -2010);
}

TEST_F(ReferenceWrite, WithoutADotToAnUnknownObjectFindsNoObject) {
    EXPECT_EQ(write_to("Fan9"), -2009);
}

TEST_F(ReferenceWrite, WithoutADotToAReadOnlyObjectIsNotPermitted) {
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(write_to("Fan1"), -2014);
}

TEST_F(ReferenceWrite, ToAnUnknownObjectFindsNoObject) {
    EXPECT_EQ(write_to("Fan9.Speed"), -2009);
}

TEST_F(ReferenceWrite, ToAnUnknownPropertyFindsNoProperty) {
    EXPECT_EQ(write_to("Fan1.Colour"), -2010);
}

TEST_F(ReferenceWrite, OfEmptyTextFindsNoObject) {
    EXPECT_EQ(write_to(""), -2009);
}

TEST_F(ReferenceWrite, WithoutAnObjectNameFindsNoObject) {
    EXPECT_EQ(write_to(".Speed"), -2009);
}

TEST_F(ReferenceWrite, SplitsItsTextAtTheFirstDotOnly) {
    add_object({.name = "Fan3", .properties = {number<guint32>("a.b", "u", 1)}});
    set_writable("Fan3");
    EXPECT_EQ(write_to("Fan3.a.b"), 0);
    EXPECT_EQ(stored_value("Fan3", "a.b"), "uint32 1300");
}

TEST_F(ReferenceWrite, ReadsTextThatIsNotTerminated) {
    const std::string target = "Fan1.Speed";
    add_object(
        {.name = "View",
         .properties = {{"Twin", std::string("s\0\0p", 4), {target.begin(), target.end()}}}});
    set_writable("View");
    EXPECT_EQ(write("View", "Twin", speed(1300)), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(ReferenceWrite, WithoutTextCannotBeFollowed) {
    SERIALISED_PROPERTY_S& twin = property_of("View", "Twin");
    gpointer const text = twin.data;
    twin.data = nullptr;
    EXPECT_EQ(write("View", "Twin", speed(1300)), -2000);
    twin.data = text;
}

TEST_F(ReferenceWrite, FailsWithoutTheSemaphoreThatGuardsItsText) {
    fail_semaphore_of("View");
    EXPECT_EQ(write("View", "Twin", speed(1300)), -2015);
}

TEST_F(ReferenceWrite, FailsWithoutTheTargetsSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(write("View", "Twin", speed(1300)), -2015);
}

TEST_F(ReferenceWrite, IsNotMeantByAnotherMarker) {
    property_of("View", "Twin").type[3] = 'o';
    EXPECT_EQ(write("View", "Twin", label("Fan1.Label")), 0);
    EXPECT_EQ(stored_value("View", "Twin"), "'Fan1.Label'");
}

TEST_F(ReferenceWrite, FollowsAThousandReferences) {
    EXPECT_EQ(write_first_link(1000, "Fan1.Speed"), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1300"});
}

TEST_F(ReferenceWrite, FollowsVeryManyReferences) {
    EXPECT_EQ(write_first_link(kVeryManyLinks, "Fan1.Speed"), 0);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1300");
}

TEST_F(ReferenceWrite, ThatNamesItselfFails) {
    EXPECT_EQ(write_first_link(1, "L.N0"), -2000);
}

TEST_F(ReferenceWrite, InACycleOfTwoFails) {
    EXPECT_EQ(write_first_link(2, "L.N0"), -2000);
}

TEST_F(ReferenceWrite, InACycleOfAThousandFails) {
    EXPECT_EQ(write_first_link(1000, "L.N0"), -2000);
}

TEST_F(ReferenceWrite, ThatLeadsIntoACycleFails) {
    EXPECT_EQ(write_first_link(20, "L.N15"), -2000);
}

OBJECT_HEAD_S* far_record = nullptr;

TEST_F(ReferenceWrite, FetchesATargetThatIsNotKnownHere) {
    far_record = make_embryo({.name = "Far", .properties = {number<guint32>("Speed", "u", 7)}});
    far_record->capability = OBJECT_READ_WRITE;
    lom_set_copy_func([](const gchar*, gsize) { return std::exchange(far_record, nullptr); });
    EXPECT_EQ(write_to("Far.Speed"), 0);
    EXPECT_EQ(stored_value("Far", "Speed"), "uint32 1300");
}

}  // namespace
}  // namespace mox::test
