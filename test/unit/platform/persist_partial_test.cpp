// A store of which one file cannot be used: the modes of the other go on, and no call mixes them
// up.
#include "captured_log.hpp"
#include "persist_fixture.hpp"

namespace mox::test {
namespace {

class PartOfTheStore : public PersistTest {
protected:
    // A file where a directory should be.
    std::string unusable() const {
        std::ofstream{path_of("file")} << "x";
        return path_of("file") + "/dir";
    }
    gint32 open_without_volatile() const {
        CapturedLog log;
        return cfg_store_open(state_dir().c_str(), unusable().c_str());
    }
    gint32 open_without_lasting() const {
        CapturedLog log;
        return cfg_store_open(unusable().c_str(), volatile_dir().c_str());
    }
};

TEST_F(PartOfTheStore, WithoutTheVolatileDirectoryKeepsTheLastingModes) {
    ASSERT_EQ(open_without_volatile(), PER_ERROR_FILE_OPEN_FAIL);
    CapturedLog log;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_POWER_OFF), PER_OK);
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 2"}, PER_MODE_PERMANENT), PER_OK);
        EXPECT_EQ(cfg_status_save("Fan1", "Speed", 2), PER_OK);
        EXPECT_TRUE(is_saved("Fan1", "Speed", PER_MODE_PERMANENT));
        EXPECT_EQ(newest_mode("Fan1", "Speed"), PER_MODE_PERMANENT);
        EXPECT_TRUE(log.lines().empty());
        cfg_store_close();
        ASSERT_EQ(round == 0 ? open_without_volatile() : open_store(),
                  round == 0 ? PER_ERROR_FILE_OPEN_FAIL : PER_OK);
    }
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), saved_as(Value{"byte 1"}));
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_PERMANENT), saved_as(Value{"byte 2"}));
}

TEST_F(PartOfTheStore, WithoutTheVolatileDirectoryRefusesResetValues) {
    ASSERT_EQ(open_without_volatile(), PER_ERROR_FILE_OPEN_FAIL);
    CapturedLog log;
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_RESET), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.count(path_of("file/dir/reset.db") + ": saving a value failed"), 1U);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), failed_with(PER_ERROR_FILE_OPEN_FAIL));
    gboolean saved = 77;
    EXPECT_EQ(cfg_is_saved("Fan1", "Speed", FALSE, PER_MODE_RESET, &saved),
              PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(saved, 77);
}

TEST_F(PartOfTheStore, WithoutTheLastingDirectoryKeepsResetValues) {
    ASSERT_EQ(open_without_lasting(), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_RESET), PER_OK);
    EXPECT_EQ(newest_mode("Fan1", "Speed"), PER_MODE_RESET);
    cfg_store_close();
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), saved_as(Value{"byte 1"}));
}

TEST_F(PartOfTheStore, WithoutTheLastingDirectoryRefusesTheRest) {
    ASSERT_EQ(open_without_lasting(), PER_ERROR_FILE_OPEN_FAIL);
    CapturedLog log;
    guint32 state = 77;
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_POWER_OFF), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_PERMANENT), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(cfg_status_save("Fan1", "Speed", 2), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(cfg_status_remove("Fan1", "Speed"), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(cfg_status_read("Fan1", "Speed", &state), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(state, 77U);
    EXPECT_EQ(log.count(path_of("file/dir/values.db") + ": "), 5U);
    EXPECT_EQ(log.lines().size(), 5U);
}

TEST_F(PartOfTheStore, TellsWhichModesAreOpen) {
    EXPECT_EQ(cfg_store_opened(PER_MODE_RESET), PER_ERROR_CFG_INIT_FAIL);
    ASSERT_EQ(open_without_volatile(), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(cfg_store_opened(PER_MODE_POWER_OFF), PER_OK);
    EXPECT_EQ(cfg_store_opened(PER_MODE_PERMANENT), PER_OK);
    EXPECT_EQ(cfg_store_opened(PER_MODE_RESET), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(cfg_store_opened(PER_MODE_BUTT), PER_ERROR_PARA_0_INVALID);
    EXPECT_EQ(cfg_store_opened(PER_MODE_NOSUPPORT), PER_ERROR_PARA_0_INVALID);
    cfg_store_close();
    EXPECT_EQ(cfg_store_opened(PER_MODE_PERMANENT), PER_ERROR_CFG_INIT_FAIL);
}

TEST_F(PartOfTheStore, ThatWasDamagedDoesNotHideThatTheOtherCannotBeUsed) {
    std::filesystem::create_directories(state_dir());
    std::ofstream{values_file()} << std::string(5000, 'x');
    ASSERT_EQ(open_without_volatile(), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(cfg_store_opened(PER_MODE_PERMANENT), PER_ERROR_DATA_INVALID);
    EXPECT_EQ(cfg_store_opened(PER_MODE_RESET), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_OK);
}

TEST_F(PartOfTheStore, IsNothingWhenNeitherDirectoryCanBeUsed) {
    const std::string below = unusable();
    {
        CapturedLog log;
        ASSERT_EQ(cfg_store_open(below.c_str(), below.c_str()), PER_ERROR_FILE_OPEN_FAIL);
    }
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_store_opened(PER_MODE_PERMANENT), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(open_store(), PER_OK);
}

TEST_F(PartOfTheStore, RefusesARestoreToDefaultsAsAWhole) {
    ASSERT_EQ(open_without_volatile(), PER_ERROR_FILE_OPEN_FAIL);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_POWER_OFF), PER_OK);
    CapturedLog log;
    EXPECT_EQ(cfg_store_restore_defaults(), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(log.count("reset.db: restoring the defaults failed"), 1U);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), saved_as(Value{"byte 1"}));
}

// The reset value was saved before, with a greater number than any in the lasting file.
TEST_F(PartOfTheStore, SavesWhatIsNewerThanAllThatTheOtherHolds) {
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_PERMANENT), PER_OK);
    ASSERT_EQ(save("Fan1", "Level", Value{"byte 1"}, PER_MODE_PERMANENT), PER_OK);
    for (const char* text : {"byte 2", "byte 3", "byte 4"}) {
        ASSERT_EQ(save("Fan1", "Speed", Value{text}, PER_MODE_RESET), PER_OK);
        ASSERT_EQ(save("Fan1", "Level", Value{text}, PER_MODE_RESET), PER_OK);
    }
    cfg_store_close();
    ASSERT_EQ(open_without_volatile(), PER_ERROR_FILE_OPEN_FAIL);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 9"}, PER_MODE_PERMANENT), PER_OK);
    ASSERT_EQ(save("Fan1", "Level", Value{"byte 1"}, PER_MODE_PERMANENT), PER_OK);  // as it was
    cfg_store_close();
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(newest_mode("Fan1", "Speed"), PER_MODE_PERMANENT);
    EXPECT_EQ(newest_mode("Fan1", "Level"), PER_MODE_PERMANENT);
}

class StoreLog : public PartOfTheStore {
protected:
    // Asks the store on every line, as a handler that keeps its own records might.
    static void ask(const gchar*, GLogLevelFlags, const gchar*, gpointer answers) {
        gboolean saved = FALSE;
        cfg_is_saved("Fan1", "Speed", FALSE, PER_MODE_PERMANENT, &saved);
        ++*static_cast<int*>(answers);
    }
};

TEST_F(StoreLog, IsWrittenWhileTheStoreIsFree) {
    expect_in_child([this] {
        alarm(20);  // a child that waits for itself is ended
        int answers = 0;
        const GLogFunc former = g_log_set_default_handler(ask, &answers);
        EXPECT_EQ(cfg_store_open(state_dir().c_str(), unusable().c_str()),
                  PER_ERROR_FILE_OPEN_FAIL);
        EXPECT_EQ(answers, 1);
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_RESET), PER_ERROR_FILE_OPEN_FAIL);
        EXPECT_EQ(answers, 2);
        g_log_set_default_handler(former, nullptr);
        cfg_store_close();
    });
}

}  // namespace
}  // namespace mox::test
