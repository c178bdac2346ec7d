// Reading a saved value back: what the store delivers is looked at before it is believed, and
// always given back.
#include <gtest/gtest.h>

#include "save_fixture.hpp"

namespace mox::test {
namespace {

class SavedValue : public SaveFixture {
protected:
    // What the store has under "Fan1.Speed", as text or "code -2000".
    static std::string delivered(const std::string& type, const std::vector<guint8>& bytes) {
        fake::persist_put("Fan1", "Speed", FALSE, PER_MODE_PERMANENT, type, bytes);
        return saved("Fan1", "Speed");
    }
};

TEST_F(SavedValue, IsWhatTheStoreHas) {
    EXPECT_EQ(delivered("u", bytes_of<guint32>(77)), "uint32 77");
    EXPECT_EQ(fake::persist_texts(), Texts{"read Fan1.Speed mode 2"});
}

TEST_F(SavedValue, MayBeOfEveryTypeOfTheModel) {
    EXPECT_EQ(delivered("b", {1}), "true");
    EXPECT_EQ(delivered("d", bytes_of(-0.5)), "-0.5");
    EXPECT_EQ(delivered("i", bytes_of<gint32>(-7)), "-7");
    EXPECT_EQ(delivered("n", bytes_of<gint16>(-8)), "int16 -8");
    EXPECT_EQ(delivered("q", bytes_of<guint16>(9)), "uint16 9");
    EXPECT_EQ(delivered("y", {255}), "byte 0xff");
    EXPECT_EQ(delivered("s", bytes_of_text("west")), "'west'");
    EXPECT_EQ(delivered("as", {'a', 0, 2}), "['a']");
}

TEST_F(SavedValue, OfAPersistedTypeHasTheTypeItStandsFor) {
    EXPECT_EQ(delivered("ro", bytes_of_text("x")), "'x'");
    EXPECT_EQ(delivered("rp", bytes_of_text("Fan2.Speed")), "'Fan2.Speed'");
    EXPECT_EQ(delivered("roa", {'a', 0, 2}), "['a']");
}

TEST_F(SavedValue, IsFloating) {
    fake::persist_put("Fan1", "Speed", FALSE, PER_MODE_RESET, "u", bytes_of<guint32>(77));
    GVariant* value = nullptr;
    ASSERT_EQ(lom_get_saved_value(handle_of("Fan1"), "Speed", &value, PER_MODE_RESET, FALSE), 0);
    EXPECT_TRUE(g_variant_is_floating(value));
    g_variant_unref(value);
}

TEST_F(SavedValue, OutlivesWhatTheStoreDelivered) {
    fake::persist_put("Fan1", "Speed", FALSE, PER_MODE_RESET, "s", bytes_of_text("west"));
    GVariant* value = nullptr;
    ASSERT_EQ(lom_get_saved_value(handle_of("Fan1"), "Speed", &value, PER_MODE_RESET, FALSE), 0);
    EXPECT_EQ(fake::persist_live_reads(), 0);
    EXPECT_EQ(printed(value), "'west'");
    g_variant_unref(value);
}

TEST_F(SavedValue, IsAskedForUnderTheModeGiven) {
    fake::persist_put("Fan1", "Speed", FALSE, PER_MODE_RESET, "u", bytes_of<guint32>(1));
    fake::persist_put("Fan1", "Speed", FALSE, PER_MODE_POWER_OFF, "u", bytes_of<guint32>(2));
    EXPECT_EQ(saved("Fan1", "Speed", PER_MODE_RESET), "uint32 1");
    EXPECT_EQ(saved("Fan1", "Speed", PER_MODE_POWER_OFF), "uint32 2");
    EXPECT_EQ(saved("Fan1", "Speed", PER_MODE_PERMANENT), "code -4999988");
}

TEST_F(SavedValue, IsAskedForWithoutThePrefixOfTheName) {
    fake::persist_put("Fan1", "Level", TRUE, PER_MODE_RESET, "y", {9});
    EXPECT_EQ(saved("Fan1", "d:Level", PER_MODE_RESET), "byte 0x09");
    EXPECT_EQ(fake::persist_texts(), Texts{"read Fan1.Level prefix mode 1"});
}

TEST_F(SavedValue, IsReadAlsoWhileThePropertyIsOverridden) {
    property_of("Fan1", "Speed").state.bit.override = 1;
    EXPECT_EQ(delivered("u", bytes_of<guint32>(77)), "uint32 77");
}

TEST_F(SavedValue, LeavesTheModelAsItIs) {
    delivered("u", bytes_of<guint32>(77));
    EXPECT_EQ(stored_value("Fan1", "Speed"), "uint32 1200");
    EXPECT_EQ(state_of("Fan1", "Speed"), "");
    EXPECT_EQ(sent_events(), Texts{});
}

TEST_F(SavedValue, GivesTheCodeOfTheStore) {
    for (const gint32 code : {-5000000, -4999998, -4999983, -4999981}) {
        fake::persist_answer(fake::PersistAction::read, code);
        EXPECT_EQ(saved("Fan1", "Speed"), "code " + std::to_string(code));
    }
}

TEST_F(SavedValue, OfNoBytesIsAnInternalFailure) {
    EXPECT_EQ(delivered("u", {}), "code -2000");
    EXPECT_EQ(delivered("ay", {}), "code -2000");
    EXPECT_EQ(delivered("s", {}), "code -2000");
}

TEST_F(SavedValue, ThatIsNotInNormalFormIsAnInternalFailure) {
    EXPECT_EQ(delivered("b", {2}), "code -2000");
    EXPECT_EQ(delivered("s", {'a', 'b'}), "code -2000") << "no terminator";
    EXPECT_EQ(delivered("s", {'a', 0, 'b', 0}), "code -2000") << "a terminator inside";
    EXPECT_EQ(delivered("s", {0xff, 0xfe, 0}), "code -2000") << "no text of any encoding in use";
    EXPECT_EQ(delivered("as", {'a', 0, 200}), "code -2000") << "an offset beyond the bytes";
    EXPECT_EQ(delivered("ro", {'a', 'b'}), "code -2000");
}

TEST_F(SavedValue, OfTooFewOrTooManyBytesForItsTypeIsAnInternalFailure) {
    EXPECT_EQ(delivered("u", {1, 2, 3}), "code -2000");
    EXPECT_EQ(delivered("u", {1, 2, 3, 4, 5}), "code -2000");
    EXPECT_EQ(delivered("d", {1, 2, 3, 4}), "code -2000");
    EXPECT_EQ(delivered("y", {1, 2}), "code -2000");
}

TEST_F(SavedValue, OfATypeThatNamesNothingIsAnInternalFailure) {
    for (const char* type : {"", "Z", "a", "*", "?", "a*", "m", "ss", "(s", "uu", " u"}) {
        EXPECT_EQ(delivered(type, {1, 0, 0, 0}), "code -2000") << type;
    }
}

TEST_F(SavedValue, OfATypeThatFitsNoTypeFieldIsNeverTakenForItsBeginning) {
    EXPECT_EQ(delivered("ayZZZZZZZZ", {1, 2, 3}), "code -2000");
    EXPECT_EQ(delivered("aaaaayZZ", {0}), "code -2000") << "its first six characters name a type";
    EXPECT_EQ(delivered(std::string(1000, 'a') + "y", {1, 2, 3}), "code -2000");
}

TEST_F(SavedValue, ThatCannotBeReadLeavesTheCallersPointer) {
    fake::persist_put("Fan1", "Speed", FALSE, PER_MODE_RESET, "b", {2});
    GVariant* const mark = owned(speed(1)).release();
    GVariant* value = mark;
    EXPECT_EQ(lom_get_saved_value(handle_of("Fan1"), "Speed", &value, PER_MODE_RESET, FALSE),
              -2000);
    EXPECT_EQ(value, mark);
    EXPECT_EQ(lom_get_saved_value(handle_of("Fan1"), "Label", &value, PER_MODE_RESET, FALSE),
              -4999988);
    EXPECT_EQ(value, mark);
    g_variant_unref(mark);
}

class RefusedRead : public SaveFixture {
protected:
    void TearDown() override {
        EXPECT_EQ(fake::persist_texts(), Texts{});
        SaveFixture::TearDown();
    }

    static gint32 read_at(OBJ_HANDLE object, const gchar* property) {
        GVariant* value = nullptr;
        return lom_get_saved_value(object, property, &value, PER_MODE_RESET, FALSE);
    }
};

TEST_F(RefusedRead, OfNoObjectNoNameOrNoResult) {
    EXPECT_EQ(read_at(0, "Speed"), -2001);
    EXPECT_EQ(read_at(handle_of("Fan1"), nullptr), -2001);
    EXPECT_EQ(lom_get_saved_value(handle_of("Fan1"), "Speed", nullptr, PER_MODE_RESET, FALSE),
              -2001);
    EXPECT_EQ(lom_get_saved_value(handle_of("Fan9"), "Speed", nullptr, PER_MODE_RESET, FALSE),
              -2001)
        << "seen before the object is missed";
}

TEST_F(RefusedRead, OfAnUnknownObject) {
    EXPECT_EQ(saved("Fan9", "Speed"), "code -2009");
    EXPECT_EQ(read_at(0x7ffffff0, "Speed"), -2009);
}

TEST_F(RefusedRead, OfAReadOnlyObjectBeforeItsPropertyIsMissed) {
    lom_set_writable(handle_of("Fan1"), OBJECT_READ_ONLY);
    EXPECT_EQ(saved("Fan1", "Speed"), "code -2014");
    EXPECT_EQ(saved("Fan1", "Colour"), "code -2014");
}

TEST_F(RefusedRead, OfAnUnknownProperty) {
    EXPECT_EQ(saved("Fan1", "Colour"), "code -2010");
    GHashTable* const table = record_of("Fan1")->property_hash;
    record_of("Fan1")->property_hash = nullptr;
    EXPECT_EQ(saved("Fan1", "Speed"), "code -2010");
    record_of("Fan1")->property_hash = table;
}

TEST_F(RefusedRead, OfAPropertyWithoutARecord) {
    entry_of("Fan1", "Label").property_ptr = nullptr;
    EXPECT_EQ(saved("Fan1", "Label"), "code -2000");
}

class SavedQuestion : public SaveFixture {
protected:
    // The answer, or "code -2001".
    static std::string ask(OBJ_HANDLE object, const gchar* property, gboolean is_remote = FALSE) {
        gboolean is_saved = 7;
        const gint32 code =
            lom_is_property_value_saved(object, property, PER_MODE_RESET, is_remote, &is_saved);
        if (code != MOX_OK) return "code " + std::to_string(code);
        return is_saved == TRUE ? "saved" : is_saved == FALSE ? "not saved" : "untouched";
    }
};

TEST_F(SavedQuestion, IsAnsweredByTheStore) {
    EXPECT_EQ(ask(handle_of("Fan1"), "Speed"), "not saved");
    fake::persist_put("Fan1", "Speed", FALSE, PER_MODE_RESET, "u", bytes_of<guint32>(1));
    EXPECT_EQ(ask(handle_of("Fan1"), "Speed"), "saved");
    EXPECT_EQ(fake::persist_texts(), (Texts{"ask Fan1.Speed mode 1", "ask Fan1.Speed mode 1"}));
}

TEST_F(SavedQuestion, IsAskedWithoutThePrefixOfTheName) {
    fake::persist_put("Fan1", "Level", TRUE, PER_MODE_RESET, "y", {1});
    EXPECT_EQ(ask(handle_of("Fan1"), "d:Level"), "saved");
    EXPECT_EQ(ask(handle_of("Fan1"), "Level"), "not saved");
    EXPECT_EQ(fake::persist_texts(),
              (Texts{"ask Fan1.Level prefix mode 1", "ask Fan1.Level mode 1"}));
}

TEST_F(SavedQuestion, NeedsNoObject) {
    fake::persist_put("Gone", "Speed", FALSE, PER_MODE_RESET, "u", bytes_of<guint32>(1));
    EXPECT_EQ(ask(handle_of("Gone"), "Speed"), "saved");
}

TEST_F(SavedQuestion, FollowsNoReference) {
    add_view("Fan1.Speed");
    ask(handle_of("View"), "Twin");
    EXPECT_EQ(fake::persist_texts(), Texts{"ask View.Twin mode 1"});
}

TEST_F(SavedQuestion, GivesTheCodeOfTheStore) {
    fake::persist_answer(fake::PersistAction::ask, PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(ask(handle_of("Fan1"), "Speed"), "code -4999987");
}

TEST_F(SavedQuestion, OfNoObjectNoNameOrNoResultIsRefused) {
    EXPECT_EQ(ask(0, "Speed"), "code -2001");
    EXPECT_EQ(ask(handle_of("Fan1"), nullptr), "code -2001");
    EXPECT_EQ(
        lom_is_property_value_saved(handle_of("Fan1"), "Speed", PER_MODE_RESET, FALSE, nullptr),
        -2001);
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(SavedQuestion, OfAHandleWithoutANameNeverReachesTheStore) {
    EXPECT_EQ(ask(0x7ffffff0, "Speed"), "code -2001");
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(SavedQuestion, IsNotOfferedRemotely) {
    EXPECT_EQ(ask(handle_of("Fan1"), "Speed", TRUE), "code -2000");
    EXPECT_EQ(fake::persist_texts(), Texts{});
}

TEST_F(SavedQuestion, OfNothingRemotelyIsABadArgument) {
    EXPECT_EQ(ask(0, "Speed", TRUE), "code -2001");
    EXPECT_EQ(ask(handle_of("Fan1"), nullptr, TRUE), "code -2001");
}

}  // namespace
}  // namespace mox::test
