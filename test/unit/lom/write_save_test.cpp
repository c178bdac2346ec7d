// A write that is to outlive the process: the value goes to the store behind its event, when it has
// changed since it last went there.
#include <gtest/gtest.h>

#include "write_fixture.hpp"

namespace mox::test {
namespace {

class SavedWrite : public WriteFixture {
protected:
    static gint32 write_speed(guint32 value, PER_MODE_E mode = PER_MODE_PERMANENT,
                              gboolean is_static = FALSE) {
        return write("Fan1", "Speed", speed(value), mode, is_static);
    }
};

TEST_F(SavedWrite, HandsTheValueToTheStore) {
    EXPECT_EQ(write_speed(0x01020304), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Speed u:04030201 mode 2"});
}

TEST_F(SavedWrite, HandsTheModeOnAsItIs) {
    write_speed(1, PER_MODE_POWER_OFF);
    write_speed(2, PER_MODE_RESET);
    write_speed(3, PER_MODE_BUTT);
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Fan1.Speed u:01000000 mode 0", "save Fan1.Speed u:02000000 mode 1",
                     "save Fan1.Speed u:03000000 mode 3"}));
}

TEST_F(SavedWrite, WithTheModeThatSavesNothingLeavesThePropertyModified) {
    EXPECT_EQ(write_speed(1, PER_MODE_NOSUPPORT), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{});
    EXPECT_EQ(state_of("Fan1", "Speed"), "modified synced");
}

TEST_F(SavedWrite, IsNoLongerModified) {
    write_speed(1);
    EXPECT_EQ(state_of("Fan1", "Speed"), "synced");
}

TEST_F(SavedWrite, ComesBehindTheEvent) {
    write_speed(1);
    const auto calls = fake::persist_calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].sends_before, 1U);
}

TEST_F(SavedWrite, GivesTheCodeOfTheStore) {
    fake::persist_answer(fake::PersistAction::save, PER_ERROR_FILE_WRITE_FAIL);
    EXPECT_EQ(write_speed(1), -4999984);
}

TEST_F(SavedWrite, ThatTheStoreRefusesIsStoredAndAnnouncedAllTheSame) {
    fake::persist_answer(fake::PersistAction::save, PER_ERROR_FILE_WRITE_FAIL);
    write_speed(1);
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1");
    EXPECT_EQ(sent_events(), Texts{"7: Fan1.Speed = uint32 1"});
}

TEST_F(SavedWrite, ThatTheStoreRefusesIsNoLongerModified) {
    fake::persist_answer(fake::PersistAction::save, PER_ERROR_FILE_WRITE_FAIL);
    write_speed(1);
    EXPECT_EQ(state_of("Fan1", "Speed"), "synced");
}

TEST_F(SavedWrite, GivesTheCodeOfANewItem) {
    fake::persist_answer(fake::PersistAction::save, PER_NEW_ITEM);
    EXPECT_EQ(write_speed(1), 1);
}

TEST_F(SavedWrite, OfAnEqualValueAsksTheStoreForNothing) {
    write_speed(1);
    EXPECT_EQ(write_speed(1), 0);
    EXPECT_EQ(fake::persist_texts().size(), 1U);
}

TEST_F(SavedWrite, OfAnEqualValueSavesAnEarlierChangeThatWasNotSaved) {
    write_speed(1, PER_MODE_NOSUPPORT);
    EXPECT_EQ(write_speed(1, PER_MODE_RESET), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Speed u:01000000 mode 1"});
    EXPECT_EQ(sent_events().size(), 1U);
    EXPECT_EQ(state_of("Fan1", "Speed"), "synced");
}

TEST_F(SavedWrite, OfAnEqualValueGivesTheCodeOfThatSave) {
    write_speed(1, PER_MODE_NOSUPPORT);
    fake::persist_answer(fake::PersistAction::save, PER_ERROR_MALLOC_FAIL);
    EXPECT_EQ(write_speed(1), -4999992);
}

TEST_F(SavedWrite, OfAnEqualValueIsNotTriedAgainBehindAFailure) {
    fake::persist_answer(fake::PersistAction::save, PER_ERROR_FILE_WRITE_FAIL);
    write_speed(1);
    EXPECT_EQ(write_speed(1), 0);
    EXPECT_EQ(fake::persist_texts().size(), 1U);
}

TEST_F(SavedWrite, AsStaticRecordsTheStateAsWell) {
    EXPECT_EQ(write_speed(1, PER_MODE_PERMANENT, TRUE), 0);
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Fan1.Speed u:01000000 mode 2", "status Fan1.Speed = 123"}));
    EXPECT_EQ(state_of("Fan1", "Speed"), "static synced");
}

TEST_F(SavedWrite, AsStaticWithTheModeThatSavesNothingRecordsNothing) {
    EXPECT_EQ(write_speed(1, PER_MODE_NOSUPPORT, TRUE), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{});
    EXPECT_EQ(state_of("Fan1", "Speed"), "modified synced");
}

TEST_F(SavedWrite, GivesTheCodeOfAStateThatCouldNotBeRecorded) {
    fake::persist_answer(fake::PersistAction::save_status, PER_ERROR_FILE_LOCK_FAIL);
    gint32 code = 0;
    messages_of([&] { code = write_speed(1, PER_MODE_PERMANENT, TRUE); });
    EXPECT_EQ(code, -4999985);
    EXPECT_EQ(state_of("Fan1", "Speed"), "static synced");
}

TEST_F(SavedWrite, NeverGoesThroughTheRemoteHook) {
    static bool is_called = false;
    is_called = false;
    lom_set_remote_save_property_func([](const gchar*, const gchar*, const gchar*, guint32,
                                         gconstpointer, gboolean, PER_MODE_E) -> gint32 {
        is_called = true;
        return 0;
    });
    write_speed(1);
    EXPECT_FALSE(is_called);
    EXPECT_EQ(fake::persist_texts().size(), 1U);
}

TEST_F(SavedWrite, SavesWhatWasStoredOfAValueThatIsNotInNormalForm) {
    const Value value = untrusted("s", {'a', 'b'});
    EXPECT_EQ(
        lom_set_property_value(handle_of("Fan1"), "Label", value.get(), PER_MODE_PERMANENT, FALSE),
        0);
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Label s:00 mode 2"});
}

TEST_F(SavedWrite, StripsThePrefixOfTheName) {
    add_object({.name = "Room", .properties = {number<guint8>("d:Level", "y", 1)}});
    set_writable("Room");
    EXPECT_EQ(write("Room", "d:Level", g_variant_new_byte(2), PER_MODE_RESET, TRUE), 0);
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Room.Level prefix y:02 mode 1", "status Room.d:Level = 123"}));
}

}  // namespace
}  // namespace mox::test
