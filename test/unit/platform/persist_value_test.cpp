// Values: saved, read back as they were, asked for, side by side under their modes.
#include <cstring>

#include "persist_fixture.hpp"

namespace mox::test {
namespace {

class SavedValue : public OpenStore {};

class SavedValueOfType : public OpenStore, public ::testing::WithParamInterface<const char*> {};

TEST_P(SavedValueOfType, ReadsBackAsItWas) {
    const Value value{GetParam()};
    for (const PER_MODE_E mode : {PER_MODE_POWER_OFF, PER_MODE_RESET, PER_MODE_PERMANENT}) {
        EXPECT_EQ(save("Fan1", "Speed", value, mode), PER_OK);
        EXPECT_EQ(read("Fan1", "Speed", mode), saved_as(value));
    }
}

INSTANTIATE_TEST_SUITE_P(EveryKind, SavedValueOfType,
                         ::testing::Values("true", "byte 200", "int16 -3", "uint16 3", "-70000",
                                           "uint32 4000000000", "1.5", "''", "'a b'", "[1, 2, 3]",
                                           "@ai []", "@as []", "['', 'x']", "[[1], [], [2, 3]]",
                                           "[1.5, 2.5]", "int64 -5", "[<'v'>, <5>]"));

TEST_F(SavedValue, OfAMarkedTypeKeepsItsMark) {
    for (const char* type : {"rp", "ro"}) {
        const Value text{type, std::string("Fan2.Speed", 11)};
        ASSERT_EQ(save("Fan1", "Peer", text), PER_OK);
        EXPECT_EQ(read("Fan1", "Peer"), saved_as(text));
    }
    for (const char* type : {"rpa", "roa"}) {
        const Value texts{type, Value{"['Fan2.Speed', 'x']"}.bytes};
        ASSERT_EQ(save("Fan1", "Peers", texts), PER_OK);
        EXPECT_EQ(read("Fan1", "Peers"), saved_as(texts));
    }
}

TEST_F(SavedValue, MayLieAtAnyAddress) {
    const Value value{"[uint32 1, 2]"};
    std::string shifted = "x" + value.bytes;
    ASSERT_EQ(cfg_save_v2("Fan1", "List", "au", 8, shifted.data() + 1, FALSE, PER_MODE_PERMANENT),
              PER_OK);
    EXPECT_EQ(read("Fan1", "List"), saved_as(value));
}

TEST_F(SavedValue, IsCopied) {
    char bytes[] = "kept";
    char type[] = "s";
    ASSERT_EQ(cfg_save_v2("Fan1", "Name", type, 5, bytes, FALSE, PER_MODE_RESET), PER_OK);
    std::memset(bytes, 'x', 4);
    type[0] = 'x';
    EXPECT_EQ(read("Fan1", "Name", PER_MODE_RESET), saved_as(Value{"'kept'"}));
}

TEST_F(SavedValue, TakesThePlaceOfTheFormerOneAndOfItsType) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"'fast'"}), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"'fast'"}));
}

TEST_F(SavedValue, IsNotToldToBeNew) {
    EXPECT_EQ(save("Fan1", "Speed", Value{"uint32 1"}), PER_OK);
    EXPECT_EQ(save("Fan1", "Speed", Value{"uint32 2"}), PER_OK);
    EXPECT_EQ(cfg_status_save("Fan1", "Speed", 2), PER_OK);
    EXPECT_EQ(cfg_status_save("Fan1", "Speed", 3), PER_OK);
}

TEST_F(SavedValue, OfEachModeStandsBesideTheOthers) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, PER_MODE_POWER_OFF), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 2"}, PER_MODE_RESET), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 3"}, PER_MODE_PERMANENT), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), saved_as(Value{"uint32 1"}));
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), saved_as(Value{"uint32 2"}));
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_PERMANENT), saved_as(Value{"uint32 3"}));
}

TEST_F(SavedValue, OfOneModeIsNothingUnderAnother) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, PER_MODE_POWER_OFF), PER_OK);
    EXPECT_TRUE(is_saved("Fan1", "Speed", PER_MODE_POWER_OFF));
    for (const PER_MODE_E other : {PER_MODE_RESET, PER_MODE_PERMANENT}) {
        EXPECT_FALSE(is_saved("Fan1", "Speed", other));
        EXPECT_EQ(read("Fan1", "Speed", other), nothing_saved());
    }
}

TEST_F(SavedValue, WithThePrefixIsAnotherThanWithout) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, PER_MODE_PERMANENT, TRUE), PER_OK);
    EXPECT_FALSE(is_saved("Fan1", "Speed", PER_MODE_PERMANENT, FALSE));
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 2"}, PER_MODE_PERMANENT, FALSE), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_PERMANENT, TRUE), saved_as(Value{"uint32 1"}));
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_PERMANENT, FALSE), saved_as(Value{"uint32 2"}));
}

TEST_F(SavedValue, CountsEveryTrueFlagAsThePrefix) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, PER_MODE_PERMANENT, 7), PER_OK);
    EXPECT_TRUE(is_saved("Fan1", "Speed", PER_MODE_PERMANENT, TRUE));
    EXPECT_EQ(newest_mode("Fan1", "Speed", -1), PER_MODE_PERMANENT);
}

TEST_F(SavedValue, IsFoundByItsWholeNames) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}), PER_OK);
    EXPECT_EQ(read("Fan1", "speed"), nothing_saved());
    EXPECT_EQ(read("Fan", "1Speed"), nothing_saved());
    EXPECT_EQ(read("Fan1S", "peed"), nothing_saved());
    EXPECT_EQ(read("Fan1", "Spee%"), nothing_saved());
}

TEST_F(SavedValue, HasNamesThatMayHoldQuotesAndAnyLetter) {
    const char* name = "d'x\"; DROP TABLE value; -- \xC3\xA4";
    ASSERT_EQ(save(name, name, Value{"uint32 1"}), PER_OK);
    EXPECT_EQ(read(name, name), saved_as(Value{"uint32 1"}));
}

TEST_F(SavedValue, MayBeLarge) {
    std::string text(300000, 'x');
    const Value value{"s", text + '\0'};
    ASSERT_EQ(save("Fan1", "Log", value), PER_OK);
    ASSERT_EQ(reopen_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Log"), saved_as(value));
}

TEST_F(SavedValue, IsStillThereAfterTheStoreWasClosed) {
    for (const PER_MODE_E mode : {PER_MODE_POWER_OFF, PER_MODE_RESET, PER_MODE_PERMANENT}) {
        ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, mode), PER_OK);
    }
    ASSERT_EQ(reopen_store(), PER_OK);
    for (const PER_MODE_E mode : {PER_MODE_POWER_OFF, PER_MODE_RESET, PER_MODE_PERMANENT}) {
        EXPECT_EQ(read("Fan1", "Speed", mode), saved_as(Value{"uint32 1"})) << mode;
    }
}

class ReadRecord : public OpenStore {};

TEST_F(ReadRecord, OfAnEmptyValueHasNoData) {
    ASSERT_EQ(save("Fan1", "List", Value{"@ai []"}), PER_OK);
    CFG_READ_S record{};
    ASSERT_EQ(cfg_read_v2("Fan1", "List", &record, FALSE, PER_MODE_PERMANENT), PER_OK);
    EXPECT_STREQ(record.type, "ai");
    EXPECT_EQ(record.size, 0U);
    EXPECT_EQ(record.data_out, nullptr);
    cfg_read_free(&record);
}

TEST_F(ReadRecord, StaysZeroedWhenNothingIsSaved) {
    CFG_READ_S record{};
    EXPECT_EQ(cfg_read_v2("Fan1", "Speed", &record, FALSE, PER_MODE_PERMANENT),
              PER_ERROR_CFG_ITEM_NOT_INITED);
    EXPECT_EQ(record.type, nullptr);
    EXPECT_EQ(record.size, 0U);
    EXPECT_EQ(record.data_out, nullptr);
}

TEST_F(ReadRecord, IsZeroedByItsReleaseAndMayBeReleasedAgain) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}), PER_OK);
    CFG_READ_S record{};
    ASSERT_EQ(cfg_read_v2("Fan1", "Speed", &record, FALSE, PER_MODE_PERMANENT), PER_OK);
    ASSERT_NE(record.data_out, nullptr);
    cfg_read_free(&record);
    EXPECT_EQ(record.type, nullptr);
    EXPECT_EQ(record.size, 0U);
    EXPECT_EQ(record.data_out, nullptr);
    cfg_read_free(&record);
    cfg_read_free(nullptr);
    EXPECT_EQ(record.data_out, nullptr);
}

TEST_F(ReadRecord, OutlivesTheStore) {
    ASSERT_EQ(save("Fan1", "Name", Value{"'kept'"}), PER_OK);
    CFG_READ_S record{};
    ASSERT_EQ(cfg_read_v2("Fan1", "Name", &record, FALSE, PER_MODE_PERMANENT), PER_OK);
    cfg_store_close();
    EXPECT_STREQ(static_cast<const char*>(record.data_out), "kept");
    cfg_read_free(&record);
}

class NewestMode : public OpenStore {};

TEST_F(NewestMode, IsTheOneSavedLastOverBothFiles) {
    EXPECT_EQ(newest_mode("Fan1", "Speed"), PER_MODE_BUTT);
    for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_RESET, PER_MODE_POWER_OFF,
                                  PER_MODE_RESET, PER_MODE_PERMANENT}) {
        static guint32 number = 0;
        const std::string text = "uint32 " + std::to_string(++number);
        ASSERT_EQ(save("Fan1", "Speed", Value{text.c_str()}, mode), PER_OK);
        EXPECT_EQ(newest_mode("Fan1", "Speed"), mode);
    }
}

TEST_F(NewestMode, IsTheOneSavedLastAlsoWhenItsValueWasStoredAlready) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, PER_MODE_PERMANENT), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 2"}, PER_MODE_RESET), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, PER_MODE_PERMANENT), PER_OK);
    EXPECT_EQ(newest_mode("Fan1", "Speed"), PER_MODE_PERMANENT);
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 2"}, PER_MODE_RESET), PER_OK);
    EXPECT_EQ(newest_mode("Fan1", "Speed"), PER_MODE_RESET);
}

TEST_F(NewestMode, IsKeptOverARestart) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, PER_MODE_RESET), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 2"}, PER_MODE_PERMANENT), PER_OK);
    ASSERT_EQ(save("Fan2", "Speed", Value{"uint32 2"}, PER_MODE_PERMANENT), PER_OK);
    ASSERT_EQ(reopen_store(), PER_OK);
    EXPECT_EQ(newest_mode("Fan1", "Speed"), PER_MODE_PERMANENT);
    ASSERT_EQ(save("Fan2", "Speed", Value{"uint32 1"}, PER_MODE_RESET), PER_OK);
    EXPECT_EQ(newest_mode("Fan2", "Speed"), PER_MODE_RESET);
    ASSERT_EQ(reopen_store(), PER_OK);
    EXPECT_EQ(newest_mode("Fan2", "Speed"), PER_MODE_RESET);
}

TEST_F(NewestMode, TellsThePrefixApart) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, PER_MODE_RESET, TRUE), PER_OK);
    EXPECT_EQ(newest_mode("Fan1", "Speed", TRUE), PER_MODE_RESET);
    EXPECT_EQ(newest_mode("Fan1", "Speed", FALSE), PER_MODE_BUTT);
}

}  // namespace
}  // namespace mox::test
