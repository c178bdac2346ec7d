// A write of a value beyond the room that the owner reserved: it goes to the process that can
// enlarge the record, and is announced and saved here all the same.
#include <gtest/gtest.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

// "Fan1.Label" has room for five bytes and holds "left".
class OversizedWrite : public WriteFixture {
protected:
    static gint32 write_long(PER_MODE_E mode = PER_MODE_NOSUPPORT, gboolean is_static = FALSE) {
        return write("Fan1", "Label", label("lefty"), mode, is_static);
    }
};

TEST_F(OversizedWrite, GoesToTheHook) {
    const RemoteSet remote;
    EXPECT_EQ(write_long(), 0);
    EXPECT_EQ(remote.calls(), Texts{"Fan1.Label = 'lefty'"});
}

TEST_F(OversizedWrite, BeginsOneByteBehindTheRoom) {
    const RemoteSet remote;
    EXPECT_EQ(write("Fan1", "Label", label("west")), 0);
    EXPECT_EQ(remote.calls(), Texts{});
}

TEST_F(OversizedWrite, StoresNothingHere) {
    const RemoteSet remote;
    write_long();
    EXPECT_EQ(stored_value("Fan1", "Label"), "'left'");
    EXPECT_EQ(property_of("Fan1", "Label").size, 5U);
}

TEST_F(OversizedWrite, MarksThePropertyModifiedButNotCurrent) {
    const RemoteSet remote;
    write_long();
    EXPECT_EQ(state_of("Fan1", "Label"), "modified");
}

TEST_F(OversizedWrite, MarksThePropertyModifiedBeforeTheHookIsCalled) {
    std::string state;
    const RemoteSet remote(0, [&state] { state = state_of("Fan1", "Label"); });
    write_long();
    EXPECT_EQ(state, "modified");
}

TEST_F(OversizedWrite, IsAnnouncedBehindTheHook) {
    Texts before{"not called"};
    const RemoteSet remote(0, [&before] { before = sent_events(); });
    write_long();
    EXPECT_EQ(before, Texts{});
    EXPECT_EQ(sent_events(), Texts{"8: Fan1.Label = 'lefty'"});
}

TEST_F(OversizedWrite, OfAnObjectThatTheHookRemovesIsNotAnnounced) {
    const RemoteSet remote(0, [] { record_of("Fan1")->status = OBJECT_MARK_DEL; });
    write_long();
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(OversizedWrite, NeedsNoSemaphore) {
    const RemoteSet remote;
    fail_semaphore_of("Fan1");
    EXPECT_EQ(write_long(), 0);
    EXPECT_EQ(remote.calls().size(), 1U);
    EXPECT_EQ(fake::osal::takes(), 0U);
}

TEST_F(OversizedWrite, GivesTheCodeOfTheHook) {
    const RemoteSet remote(-777);
    EXPECT_EQ(write_long(), -777);
}

TEST_F(OversizedWrite, GivesAlsoACodeAboveZeroOfTheHook) {
    const RemoteSet remote(5);
    EXPECT_EQ(write_long(PER_MODE_PERMANENT), 5);
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(OversizedWrite, ThatTheHookRefusesIsNeitherAnnouncedNorSaved) {
    const RemoteSet remote(-777);
    write_long(PER_MODE_PERMANENT, TRUE);
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(OversizedWrite, ThatTheHookRefusesLeavesThePropertyModified) {
    const RemoteSet remote(-777);
    write_long(PER_MODE_PERMANENT);
    EXPECT_EQ(state_of("Fan1", "Label"), "modified");
    EXPECT_EQ(stored_value("Fan1", "Label"), "'left'");
}

TEST_F(OversizedWrite, WithoutAHookIsAnnouncedAllTheSame) {
    EXPECT_EQ(write_long(), 0);
    EXPECT_EQ(sent_events(), Texts{"8: Fan1.Label = 'lefty'"});
}

TEST_F(OversizedWrite, WithoutAHookStoresNothing) {
    write_long();
    EXPECT_EQ(stored_value("Fan1", "Label"), "'left'");
    EXPECT_EQ(state_of("Fan1", "Label"), "modified");
}

TEST_F(OversizedWrite, WithoutAHookSavesTheValue) {
    EXPECT_EQ(write_long(PER_MODE_PERMANENT), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Label s:6c6566747900 mode 2"});
    EXPECT_EQ(state_of("Fan1", "Label"), "");
}

TEST_F(OversizedWrite, BehindTheHookSavesTheValue) {
    const RemoteSet remote;
    EXPECT_EQ(write_long(PER_MODE_PERMANENT), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Label s:6c6566747900 mode 2"});
}

TEST_F(OversizedWrite, IsReadBackWhenTheHookEnlargedTheRecord) {
    const RemoteSet remote(0, [] { lom_realloc_property("Fan1", "Label", "s", 6, "lefty"); });
    EXPECT_EQ(write_long(), 0);
    EXPECT_EQ(stored_value("Fan1", "Label"), "'lefty'");
    EXPECT_EQ(state_of("Fan1", "Label"), "modified synced");
}

TEST_F(OversizedWrite, ToAPropertyThatFoundNoRoomGoesToTheHookToo) {
    SERIALISED_PROPERTY_S& property = property_of("Fan1", "Label");
    gpointer const room = property.data;
    property.data = nullptr;
    property.capacity = 0;
    const RemoteSet remote;
    EXPECT_EQ(write("Fan1", "Label", label("east")), 0);
    EXPECT_EQ(remote.calls().size(), 1U);
    property.data = room;
    property.capacity = 5;
}

TEST_F(OversizedWrite, OfManyBytesLosesNothing) {
    const std::string text(200000, 'x');
    const RemoteSet remote;
    gint32 code = 1;
    messages_of([&] { code = write("Fan1", "Label", label(text)); });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(remote.calls(), Texts{"Fan1.Label = '" + text + "'"});
    EXPECT_EQ(stored_value("Fan1", "Label"), "'left'");
}

TEST_F(OversizedWrite, HoldsNoOtherReferenceOnceItIsDone) {
    gint32 during = 0;
    const RemoteSet remote(-1, [&during] { during = record_of("Fan1")->ref_count; });
    write_long();
    EXPECT_EQ(during, 2) << "the record stays while the hook runs";
    EXPECT_EQ(record_of("Fan1")->ref_count, 1);
}

}  // namespace
}  // namespace mox::test
