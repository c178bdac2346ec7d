// Saving a property's value: under which name, type and mode it reaches the store, and what it is
// refused for.
#include <gtest/gtest.h>

#include "save_fixture.hpp"

namespace mox::test {
namespace {

using Save = SaveFixture;

TEST_F(Save, HandsAGivenValueToTheStore) {
    const Value value = owned(speed(0x01020304));
    EXPECT_EQ(save("Fan1", "Speed", value.get()), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Speed u:04030201 mode 2"});
}

TEST_F(Save, HandsAGivenValueOnInNormalForm) {
    const Value value = untrusted("s", {'a', 'b'});
    EXPECT_EQ(save("Fan1", "Label", value.get()), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Label s:00 mode 2"});
}

TEST_F(Save, HandsTheStoredValueToTheStoreWhenNoneIsGiven) {
    EXPECT_EQ(save("Fan1", "Speed"), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Speed u:b0040000 mode 2"});
}

TEST_F(Save, TakesTheCurrentSizeOfTheStoredValue) {
    write("Fan1", "Label", label("le"));
    EXPECT_EQ(save("Fan1", "Label"), 0);
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Label s:6c6500 mode 2"});
}

TEST_F(Save, OfADeclaredSizeBeyondTheRoomSavesNoForeignBytes) {
    add_object({.name = "Room",
                .properties = {{"Wide", "d", std::vector<guint8>(12, 1)},
                               number<guint32>("Next", "u", 0x2a2a2a2a)}});
    set_writable("Room");
    messages_of([] { save("Room", "Wide"); });
    EXPECT_EQ(fake::persist_texts(), Texts{"save Room.Wide d:010101010101010100000000 mode 2"});
}

TEST_F(Save, HandsTheModeOnAsItIs) {
    for (const PER_MODE_E mode :
         {PER_MODE_NOSUPPORT, PER_MODE_POWER_OFF, PER_MODE_RESET, PER_MODE_BUTT}) {
        save("Fan1", "d:Level", nullptr, mode);
    }
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Fan1.Level prefix y:03 mode -1", "save Fan1.Level prefix y:03 mode 0",
                     "save Fan1.Level prefix y:03 mode 1", "save Fan1.Level prefix y:03 mode 3"}));
}

TEST_F(Save, WritesAMarkedTypeInItsPersistedForm) {
    save("Fan1", "Marked");
    save("Fan1", "Names");
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Fan1.Marked ro:7800 mode 2", "save Fan1.Names roa:610002 mode 2"}));
}

TEST_F(Save, HandsOnATypeFieldWithoutATerminatorInItsSixCharacters) {
    add_object({.name = "Room", .properties = {{"Deep", "aaaaay", {}}}});
    set_writable("Room");
    const Value value = owned(bytes_value({}));
    save("Room", "Deep", value.get());
    const auto calls = fake::persist_calls();
    for (const auto& call : calls) EXPECT_EQ(call.type.substr(0, 6), call.type);
}

TEST_F(Save, StripsThePrefixOnce) {
    add_object(
        {.name = "Fan2",
         .properties = {number<guint8>("d:d:Level", "y", 1), number<guint8>("ad:Level", "y", 2)}});
    set_writable("Fan2");
    save("Fan2", "d:d:Level");
    save("Fan2", "ad:Level");
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Fan2.d:Level prefix y:01 mode 2", "save Fan2.ad:Level y:02 mode 2"}));
}

TEST_F(Save, GivesTheCodeOfTheStore) {
    for (const gint32 code : {-5000000, -4999999, -4999984, -4999981, 0, 1}) {
        fake::persist_answer(fake::PersistAction::save, code);
        EXPECT_EQ(save("Fan1", "Speed"), code);
    }
}

TEST_F(Save, AnnouncesAndMarksNothing) {
    property_of("Fan1", "Speed").state.bit.modified = 1;
    save("Fan1", "Speed");
    EXPECT_EQ(sent_events(), Texts{});
    EXPECT_EQ(state_of("Fan1", "Speed"), "modified");
}

TEST_F(Save, StoresNothingInTheModel) {
    const Value value = owned(speed(1));
    save("Fan1", "Speed", value.get());
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
}

TEST_F(Save, LeavesAFloatingValueFloating) {
    GVariant* const value = speed(1);
    save("Fan1", "Speed", value, PER_MODE_RESET, TRUE);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(value);
}

TEST_F(Save, IsReadBack) {
    const Value value = owned(speed(77));
    save("Fan1", "Speed", value.get());
    save("Fan1", "Label");
    save("Fan1", "d:Level");
    save("Fan1", "Marked");
    save("Fan1", "Names");
    EXPECT_EQ(saved("Fan1", "Speed"), "uint32 77");
    EXPECT_EQ(saved("Fan1", "Label"), "'left'");
    EXPECT_EQ(saved("Fan1", "d:Level"), "byte 0x03");
    EXPECT_EQ(saved("Fan1", "Marked"), "'x'");
    EXPECT_EQ(saved("Fan1", "Names"), "['a']");
}

class StaticSave : public SaveFixture {};

TEST_F(StaticSave, MarksThePropertyAndRecordsItsStateBehindTheValue) {
    EXPECT_EQ(save("Fan1", "Speed", nullptr, PER_MODE_RESET, TRUE), 0);
    EXPECT_EQ(state_of("Fan1", "Speed"), "static");
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Fan1.Speed u:b0040000 mode 1", "status Fan1.Speed = 114"}));
}

TEST_F(StaticSave, RecordsTheWholeStateWord) {
    property_of("Fan1", "Speed").state.all = 0xABCDE079U;
    save("Fan1", "Speed", nullptr, PER_MODE_RESET, TRUE);
    EXPECT_EQ(fake::persist_calls().back().state, 0xABCDE07BU);
}

TEST_F(StaticSave, RecordsTheStateUnderTheNameWithItsPrefix) {
    save("Fan1", "d:Level", nullptr, PER_MODE_RESET, TRUE);
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"save Fan1.Level prefix y:03 mode 1", "status Fan1.d:Level = 114"}));
}

TEST_F(StaticSave, ThatTheStoreRefusesMarksAndRecordsNothing) {
    fake::persist_answer(fake::PersistAction::save, PER_ERROR_FILE_WRITE_FAIL);
    EXPECT_EQ(save("Fan1", "Speed", nullptr, PER_MODE_RESET, TRUE), -4999984);
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
    EXPECT_EQ(fake::persist_texts().size(), 1U);
}

TEST_F(StaticSave, WhoseStateCannotBeRecordedGivesThatCode) {
    fake::persist_answer(fake::PersistAction::save_status, PER_ERROR_FILE_WRITE_FAIL);
    gint32 code = 0;
    const Texts messages =
        messages_of([&] { code = save("Fan1", "Speed", nullptr, PER_MODE_RESET, TRUE); });
    EXPECT_EQ(code, -4999984);
    EXPECT_EQ(messages, Texts{"ERR save Fan1.Speed status failed -4999984"});
    EXPECT_EQ(state_of("Fan1", "Speed"), "static");
}

TEST_F(StaticSave, TellsOfAFailedStateUnderTheNameWithItsPrefix) {
    fake::persist_answer(fake::PersistAction::save_status, PER_ERROR_MALLOC_FAIL);
    const Texts messages =
        messages_of([] { save("Fan1", "d:Level", nullptr, PER_MODE_RESET, TRUE); });
    EXPECT_EQ(messages, Texts{"ERR save Fan1.d:Level status failed -4999992"});
}

TEST_F(StaticSave, WhoseStateIsANewItemIsNoFailure) {
    fake::persist_answer(fake::PersistAction::save_status, PER_NEW_ITEM);
    gint32 code = -1;
    const Texts messages =
        messages_of([&] { code = save("Fan1", "Speed", nullptr, PER_MODE_RESET, TRUE); });
    EXPECT_EQ(messages, Texts{});
    EXPECT_GE(code, 0);
}

TEST_F(StaticSave, WhoseValueIsANewItemIsLeftUnmarked) {
    fake::persist_answer(fake::PersistAction::save, PER_NEW_ITEM);
    EXPECT_EQ(save("Fan1", "Speed", nullptr, PER_MODE_RESET, TRUE), 1);
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
    EXPECT_EQ(fake::persist_texts(), Texts{"save Fan1.Speed u:b0040000 mode 1"});
}

class RefusedSave : public SaveFixture {
protected:
    void TearDown() override {
        EXPECT_EQ(fake::persist_texts(), Texts{});
        SaveFixture::TearDown();
    }

    static gint32 save_at(OBJ_HANDLE object, const gchar* property) {
        return lom_save_property_value(object, property, nullptr, PER_MODE_RESET, FALSE, TRUE);
    }
};

TEST_F(RefusedSave, OfNoObjectOrNoName) {
    EXPECT_EQ(save_at(0, "Speed"), -2001);
    EXPECT_EQ(save_at(handle_of("Fan1"), nullptr), -2001);
    EXPECT_EQ(save_at(handle_of("Fan9"), nullptr), -2001) << "seen before the object is missed";
}

TEST_F(RefusedSave, OfAnUnknownObject) {
    EXPECT_EQ(save("Fan9", "Speed"), -2009);
    EXPECT_EQ(save_at(0x7ffffff0, "Speed"), -2009);
}

TEST_F(RefusedSave, OfAReadOnlyObjectBeforeItsPropertyIsMissed) {
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(save("Fan1", "Speed"), -2014);
    EXPECT_EQ(save("Fan1", "Colour"), -2014);
}

TEST_F(RefusedSave, OfAnUnknownProperty) {
    EXPECT_EQ(save("Fan1", "Colour"), -2010);
    EXPECT_EQ(save("Fan1", "Level"), -2010) << "the prefix is part of the property's name";
    GHashTable* const table = record_of("Fan1")->property_hash;
    record_of("Fan1")->property_hash = nullptr;
    EXPECT_EQ(save("Fan1", "Speed"), -2010);
    record_of("Fan1")->property_hash = table;
}

TEST_F(RefusedSave, OfAPropertyWithoutARecord) {
    entry_of("Fan1", "Label").property_ptr = nullptr;
    EXPECT_EQ(save("Fan1", "Label"), -2000);
}

TEST_F(RefusedSave, OfAnOverriddenProperty) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(save("Fan1", "Speed", nullptr, PER_MODE_RESET, TRUE), -2019);
    EXPECT_EQ(state_of("Fan1", "Speed"), "override");
}

TEST_F(RefusedSave, OfAnOverriddenReferenceIsSeenBeforeItsTargetIsLookedFor) {
    add_view("Fan9.Speed");
    property_of("View", "Twin").state.bit.override = 1;
    EXPECT_EQ(save("View", "Twin"), -2019);
}

TEST_F(RefusedSave, OfTheStoredValueWithoutTheSemaphore) {
    fail_semaphore_of("Fan1");
    EXPECT_EQ(save("Fan1", "Speed"), -2015);
}

}  // namespace
}  // namespace mox::test
