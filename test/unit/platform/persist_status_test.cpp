// Save states, and the restore to defaults that keeps only what is permanent.
#include "persist_fixture.hpp"

namespace mox::test {
namespace {

// The recorded word, or the code.
gint64 status_of(const char* object, const char* property) {
    guint32 state = 0;
    const gint32 code = cfg_status_read(object, property, &state);
    return code == PER_OK ? gint64{state} : gint64{code};
}

class SaveStatus : public OpenStore {};

TEST_F(SaveStatus, KeepsAll32BitsOverARestart) {
    ASSERT_EQ(cfg_status_save("Fan1", "Speed", 0xFFFFFFFFU), PER_OK);
    ASSERT_EQ(cfg_status_save("Fan1", "Name", 0), PER_OK);
    ASSERT_EQ(reopen_store(), PER_OK);
    EXPECT_EQ(status_of("Fan1", "Speed"), 0xFFFFFFFFLL);
    EXPECT_EQ(status_of("Fan1", "Name"), 0);
}

TEST_F(SaveStatus, TakesThePlaceOfTheFormerOne) {
    ASSERT_EQ(cfg_status_save("Fan1", "Speed", 2), PER_OK);
    ASSERT_EQ(cfg_status_save("Fan1", "Speed", 6), PER_OK);
    EXPECT_EQ(status_of("Fan1", "Speed"), 6);
}

TEST_F(SaveStatus, OfANameWithThePrefixIsAnother) {
    ASSERT_EQ(cfg_status_save("Fan1", "d:Speed", 2), PER_OK);
    EXPECT_EQ(status_of("Fan1", "Speed"), PER_ERROR_CFG_ITEM_NOT_INITED);
    EXPECT_EQ(status_of("Fan1", "d:Speed"), 2);
}

TEST_F(SaveStatus, ThatWasNeverRecordedSetsNothing) {
    guint32 state = 77;
    EXPECT_EQ(cfg_status_read("Fan1", "Speed", &state), PER_ERROR_CFG_ITEM_NOT_INITED);
    EXPECT_EQ(state, 77U);
}

TEST_F(SaveStatus, IsRemovedAloneAndRemovingItAgainIsFine) {
    ASSERT_EQ(cfg_status_save("Fan1", "Speed", 2), PER_OK);
    ASSERT_EQ(cfg_status_save("Fan1", "Name", 3), PER_OK);
    EXPECT_EQ(cfg_status_remove("Fan1", "Speed"), PER_OK);
    EXPECT_EQ(cfg_status_remove("Fan1", "Speed"), PER_OK);
    EXPECT_EQ(status_of("Fan1", "Speed"), PER_ERROR_CFG_ITEM_NOT_INITED);
    EXPECT_EQ(status_of("Fan1", "Name"), 3);
}

TEST_F(SaveStatus, LeavesTheValueAlone) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 7"}), PER_OK);
    ASSERT_EQ(cfg_status_save("Fan1", "Speed", 2), PER_OK);
    ASSERT_EQ(cfg_status_remove("Fan1", "Speed"), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"byte 7"}));
}

class RestoreToDefaults : public OpenStore {};

TEST_F(RestoreToDefaults, KeepsPermanentValuesOnly) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_POWER_OFF), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 2"}, PER_MODE_PERMANENT), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 3"}, PER_MODE_RESET), PER_OK);
    EXPECT_EQ(cfg_store_restore_defaults(), PER_OK);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), nothing_saved());
        EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), nothing_saved());
        EXPECT_EQ(read("Fan1", "Speed", PER_MODE_PERMANENT), saved_as(Value{"byte 2"}));
        EXPECT_EQ(newest_mode("Fan1", "Speed"), PER_MODE_PERMANENT);
        ASSERT_EQ(reopen_store(), PER_OK);
    }
}

TEST_F(RestoreToDefaults, KeepsTheStatesOfPropertiesWithAPermanentValue) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_PERMANENT, FALSE), PER_OK);
    ASSERT_EQ(save("Fan1", "Level", Value{"byte 1"}, PER_MODE_PERMANENT, TRUE), PER_OK);
    ASSERT_EQ(save("Fan1", "Name", Value{"'n'"}, PER_MODE_POWER_OFF), PER_OK);
    ASSERT_EQ(save("Fan1", "Mode", Value{"'n'"}, PER_MODE_RESET), PER_OK);
    for (const char* property : {"Speed", "d:Speed", "Level", "d:Level", "Name", "Mode", "Other"}) {
        ASSERT_EQ(cfg_status_save("Fan1", property, 2), PER_OK);
    }
    ASSERT_EQ(cfg_status_save("Fan2", "Speed", 2), PER_OK);
    EXPECT_EQ(cfg_store_restore_defaults(), PER_OK);
    EXPECT_EQ(status_of("Fan1", "Speed"), 2);
    EXPECT_EQ(status_of("Fan1", "d:Level"), 2);
    for (const char* property : {"d:Speed", "Level", "Name", "Mode", "Other"}) {
        EXPECT_EQ(status_of("Fan1", property), PER_ERROR_CFG_ITEM_NOT_INITED) << property;
    }
    EXPECT_EQ(status_of("Fan2", "Speed"), PER_ERROR_CFG_ITEM_NOT_INITED);
}

TEST_F(RestoreToDefaults, LetsTheForgottenBeSavedAgain) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_POWER_OFF), PER_OK);
    ASSERT_EQ(cfg_store_restore_defaults(), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_POWER_OFF), PER_OK);
    ASSERT_EQ(reopen_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), saved_as(Value{"byte 1"}));
}

TEST_F(RestoreToDefaults, OfAnEmptyStoreIsFine) {
    EXPECT_EQ(cfg_store_restore_defaults(), PER_OK);
}

class NoStore : public PersistTest {};

TEST_F(NoStore, AnswersEveryCallWithOneCode) {
    CFG_READ_S record{};
    gboolean saved = 77;
    guint32 state = 77;
    PER_MODE_E mode = PER_MODE_BUTT;
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_read_v2("Fan1", "Speed", &record, FALSE, PER_MODE_RESET),
              PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_is_saved("Fan1", "Speed", FALSE, PER_MODE_RESET, &saved),
              PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_status_save("Fan1", "Speed", 1), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_status_remove("Fan1", "Speed"), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_status_read("Fan1", "Speed", &state), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_newest_mode("Fan1", "Speed", FALSE, &mode), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_store_restore_defaults(), PER_ERROR_CFG_INIT_FAIL);
    cfg_store_close();
    EXPECT_EQ(record.type, nullptr);
    EXPECT_EQ(saved, 77);
    EXPECT_EQ(state, 77U);
    EXPECT_EQ(mode, PER_MODE_BUTT);
}

TEST_F(NoStore, IsWhatACloseLeaves) {
    ASSERT_EQ(open_store(), PER_OK);
    cfg_store_close();
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_ERROR_CFG_INIT_FAIL);
}

}  // namespace
}  // namespace mox::test
