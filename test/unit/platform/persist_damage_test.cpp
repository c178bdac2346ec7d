// Damaged files: found when the store opens, kept aside as they were, and the store goes on without
// them.
#include <algorithm>
#include <functional>

#include "captured_log.hpp"
#include "child_process.hpp"
#include "persist_fixture.hpp"

namespace mox::test {
namespace {

constexpr std::size_t page = 4096;

// Bytes that are no page of a database.
std::string garbage(std::size_t size) {
    std::string bytes(size, '\0');
    unsigned state = 12345;
    for (char& byte : bytes) {
        state = state * 1103515245U + 12345U;
        byte = static_cast<char>(state >> 16U);
    }
    return bytes;
}

class DamagedFile : public PersistTest {
protected:
    // Small enough to lie in a page whole, without a tail in another.
    const Value initial{"ay", std::string(900, '\0')};

    // A closed store with values enough for more than twenty pages.
    void SetUp() override {
        ASSERT_EQ(open_store(), PER_OK);
        ASSERT_EQ(save("Fan1", "Property7", initial, PER_MODE_RESET), PER_OK);
        cfg_store_close();
        // As so many saves would leave it, in a single commit.
        change(values_file(),
               "WITH RECURSIVE counter (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM counter"
               " WHERE i < 89) INSERT INTO value SELECT 'Fan1', 'Property' || i, 0, 2, 'ay',"
               " zeroblob(900), i + 2 FROM counter");
        ASSERT_GT(std::filesystem::file_size(values_file()), 20 * page);
    }

    // Opens the damaged store and expects the file aside, byte for byte, and a fresh one.
    void expect_kept_aside(const std::string& file, PER_MODE_E mode) {
        const std::string damaged = content_of(file);
        CapturedLog log;
        EXPECT_EQ(open_store(), PER_ERROR_DATA_INVALID);
        EXPECT_GE(log.count("moxplat-persist: " + file + ": damaged"), 1U);
        EXPECT_EQ(log.count(file + ".damaged-1"), 1U);
        EXPECT_TRUE(content_of(file + ".damaged-1") == damaged);
        EXPECT_EQ(read("Fan1", "Property7", mode), nothing_saved());
        EXPECT_EQ(save("Fan1", "Property7", Value{"byte 1"}, mode), PER_OK);
        EXPECT_EQ(reopen_store(), PER_OK);
        EXPECT_EQ(read("Fan1", "Property7", mode), saved_as(Value{"byte 1"}));
        EXPECT_FALSE(std::filesystem::exists(file + ".damaged-2"));
    }
};

TEST_F(DamagedFile, WithAGarbledHeaderIsKeptAside) {
    overwrite(values_file(), 0, garbage(page));
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, ThatIsShortIsKeptAside) {
    std::filesystem::resize_file(values_file(), 10 * page);
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, ThatEndsInsideAPageIsKeptAside) {
    std::filesystem::resize_file(values_file(), 10 * page + 77);
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, ThatIsOnlyAFewBytesIsKeptAside) {
    std::filesystem::resize_file(values_file(), 50);
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, WithAGarbledPageInTheMiddleIsKeptAside) {
    overwrite(values_file(), 12 * page, garbage(page));
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, WithAZeroedPageInTheMiddleIsKeptAside) {
    overwrite(values_file(), 12 * page, std::string(page, '\0'));
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, OfAnotherProgramIsKeptAside) {
    change(values_file(), "PRAGMA application_id = 7");
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, ThatIsADatabaseOfNobodyIsKeptAside) {
    std::filesystem::remove(values_file());
    change(values_file(), "CREATE TABLE value (object TEXT)");
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, WithAVersionThatNeverWasIsKeptAside) {
    change(values_file(), "PRAGMA user_version = 0");
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, WithoutATableIsKeptAside) {
    change(values_file(), "DROP TABLE status");
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, WithASequenceOutOfRangeIsKeptAside) {
    change(values_file(),
           "UPDATE value SET sequence = 9223372036854775807 WHERE name = 'Property7'");
    expect_kept_aside(values_file(), PER_MODE_PERMANENT);
}

TEST_F(DamagedFile, OfResetValuesIsKeptAsideWithoutTheOther) {
    overwrite(reset_file(), 0, garbage(page));
    expect_kept_aside(reset_file(), PER_MODE_RESET);
    EXPECT_EQ(read("Fan1", "Property8", PER_MODE_PERMANENT).code, PER_OK);
}

TEST_F(DamagedFile, LeavesTheOtherFilesValues) {
    overwrite(values_file(), 0, garbage(page));
    CapturedLog log;
    ASSERT_EQ(open_store(), PER_ERROR_DATA_INVALID);
    EXPECT_EQ(read("Fan1", "Property7", PER_MODE_RESET).code, PER_OK);
}

TEST_F(DamagedFile, IsKeptAsideTogetherWithTheOther) {
    overwrite(values_file(), 0, garbage(page));
    overwrite(reset_file(), 0, garbage(page));
    CapturedLog log;
    ASSERT_EQ(open_store(), PER_ERROR_DATA_INVALID);
    EXPECT_TRUE(std::filesystem::exists(values_file() + ".damaged-1"));
    EXPECT_TRUE(std::filesystem::exists(reset_file() + ".damaged-1"));
}

TEST_F(DamagedFile, NeverTakesThePlaceOfOneThatWasKeptBefore) {
    std::ofstream{values_file() + ".damaged-1"} << "first";
    std::ofstream{values_file() + ".damaged-2-wal"} << "second's log";
    for (const int number : {3, 4}) {
        overwrite(values_file(), 0, garbage(page));
        const std::string damaged = content_of(values_file());
        CapturedLog log;
        ASSERT_EQ(open_store(), PER_ERROR_DATA_INVALID);
        cfg_store_close();
        EXPECT_TRUE(content_of(values_file() + ".damaged-" + std::to_string(number)) == damaged);
    }
    EXPECT_EQ(content_of(values_file() + ".damaged-1"), "first");
    EXPECT_EQ(content_of(values_file() + ".damaged-2-wal"), "second's log");
}

TEST_F(DamagedFile, ThatIsWholeAgainMayBePutBack) {
    const std::string header = content_of(values_file()).substr(0, page);
    overwrite(values_file(), 0, garbage(page));
    {
        CapturedLog log;
        ASSERT_EQ(open_store(), PER_ERROR_DATA_INVALID);
    }
    cfg_store_close();
    overwrite(values_file() + ".damaged-1", 0, header);
    std::filesystem::rename(values_file() + ".damaged-1", values_file());
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Property7").code, PER_OK);
}

// A store whose owner was killed: the last commit is in the log alone. It has the size of what it
// replaced, so that the log holds one page of values and not the page that is garbled below:
// that would be whole again with the log.
class DamagedFileWithALog : public DamagedFile {
protected:
    const Value logged{"ay", std::string(900, 'y')};

    void SetUp() override {
        DamagedFile::SetUp();
        ChildProcess owner{[this](const Parent& parent) {
            if (open_store() != PER_OK) return 1;
            if (save("Fan1", "Property7", logged) != PER_OK) return 2;
            parent.tell(char{1});
            parent.wait_for_word();
            return 3;
        }};
        ASSERT_EQ(owner.hear<char>(), 1);
        owner.kill();
        ASSERT_EQ(owner.status(), -SIGKILL);
        ASSERT_GT(std::filesystem::file_size(values_file() + "-wal"), 0U);
    }

    void expect_both_kept_aside() {
        const std::string damaged = content_of(values_file());
        const std::string log_bytes = content_of(values_file() + "-wal");
        CapturedLog log;
        EXPECT_EQ(open_store(), PER_ERROR_DATA_INVALID);
        EXPECT_TRUE(content_of(values_file() + ".damaged-1") == damaged);
        EXPECT_TRUE(content_of(values_file() + ".damaged-1-wal") == log_bytes);
        EXPECT_EQ(read("Fan1", "Property7"), nothing_saved());
    }
};

TEST_F(DamagedFileWithALog, KeepsTheLogWhenAPageIsGarbled) {
    overwrite(values_file(), 12 * page, garbage(page));
    expect_both_kept_aside();
}

TEST_F(DamagedFileWithALog, KeepsTheLogWhenTheFileIsEmpty) {
    std::filesystem::resize_file(values_file(), 0);
    expect_both_kept_aside();
}

TEST_F(DamagedFileWithALog, KeepsTheLogWhenTheFileIsGone) {
    const std::string log_bytes = content_of(values_file() + "-wal");
    std::filesystem::remove(values_file());
    CapturedLog log;
    EXPECT_EQ(open_store(), PER_ERROR_DATA_INVALID);
    EXPECT_FALSE(std::filesystem::exists(values_file() + ".damaged-1"));
    EXPECT_TRUE(content_of(values_file() + ".damaged-1-wal") == log_bytes);
}

TEST_F(DamagedFileWithALog, IsWholeWithIt) {
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Property7"), saved_as(logged));
}

class NewerFile : public DamagedFileWithALog {};

TEST_F(NewerFile, IsRefusedAndLeftAsItIs) {
    // In the log, as a newer version that was killed would leave it.
    ChildProcess newer{[this](const Parent& parent) {
        sqlite3* database = nullptr;
        if (sqlite3_open(values_file().c_str(), &database) != SQLITE_OK) return 1;
        if (sqlite3_exec(database, "PRAGMA user_version = 2", nullptr, nullptr, nullptr) != 0) {
            return 2;
        }
        parent.tell(char{1});
        parent.wait_for_word();
        return 3;
    }};
    ASSERT_EQ(newer.hear<char>(), 1);
    newer.kill();
    ASSERT_EQ(newer.status(), -SIGKILL);
    const std::string file = content_of(values_file());
    const std::string log_bytes = content_of(values_file() + "-wal");
    ASSERT_FALSE(log_bytes.empty());
    CapturedLog log;
    EXPECT_EQ(open_store(), PER_ERROR_PARSER_INIT_FAIL);
    EXPECT_EQ(log.count(values_file() + ": written by a newer version"), 1U);
    EXPECT_TRUE(content_of(values_file()) == file);
    EXPECT_TRUE(content_of(values_file() + "-wal") == log_bytes);
    EXPECT_FALSE(std::filesystem::exists(values_file() + ".damaged-1"));
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_ERROR_PARSER_INIT_FAIL);
    cfg_store_close();
    EXPECT_TRUE(content_of(values_file() + "-wal") == log_bytes);
}

class DamagedValue : public DamagedFile {};

TEST_F(DamagedValue, IsNotReadAndIsLogged) {
    const char* const changes[] = {
        "type = 'b', data = x'05'",
        "type = 'u', data = x'0506'",
        "type = 's', data = x'61'",
        "type = '(y)'",
        "type = ''",
        "type = 'rx'",
        "type = 'as', data = x'610009'",
    };
    for (const char* what : changes) {
        change(values_file(),
               std::string("UPDATE value SET ") + what + " WHERE name = 'Property7'");
        ASSERT_EQ(open_store(), PER_OK);
        CapturedLog log;
        EXPECT_EQ(read("Fan1", "Property7"), failed_with(PER_ERROR_DATA_INVALID)) << what;
        EXPECT_EQ(log.count(values_file() + ": the value of Fan1.Property7 is damaged"), 1U);
        EXPECT_EQ(read("Fan1", "Property8").code, PER_OK);
        cfg_store_close();
    }
}

TEST_F(DamagedValue, IsReplacedByTheNextSave) {
    change(values_file(), "UPDATE value SET type = 'b', data = x'05' WHERE name = 'Property7'");
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Property7", Value{"byte 1"}), PER_OK);
    EXPECT_EQ(read("Fan1", "Property7"), saved_as(Value{"byte 1"}));
}

// The newest row of each item has a mode that its file does not keep; 4294967298 would be a mode if
// it were cut to 32 bits.
TEST_F(DamagedValue, MayHaveAModeThatItsFileDoesNotKeep) {
    const auto put = [](const std::string& mode) {
        return "INSERT INTO value VALUES ('Fan1', 'Speed', 0, " + mode +
               ", 'y', x'05', 1000); INSERT OR IGNORE INTO value VALUES ('Fan1', 'Speed', 0, ";
    };
    const std::pair<std::string, std::string> cases[] = {
        {values_file(), put("1") + "2, 'y', x'04', 999)"},
        {values_file(), put("3") + "2, 'y', x'04', 999)"},
        {values_file(), put("-1") + "2, 'y', x'04', 999)"},
        {values_file(), put("4294967298") + "2, 'y', x'04', 999)"},
        {reset_file(), put("2") + "1, 'y', x'04', 999)"},
        {reset_file(), put("0") + "1, 'y', x'04', 999)"},
    };
    for (const auto& [file, rows] : cases) {
        change(file, rows);
        ASSERT_EQ(open_store(), PER_OK);
        CapturedLog log;
        PER_MODE_E mode = PER_MODE_BUTT;
        EXPECT_EQ(cfg_newest_mode("Fan1", "Speed", FALSE, &mode), PER_ERROR_DATA_INVALID) << rows;
        EXPECT_EQ(mode, PER_MODE_BUTT);
        EXPECT_EQ(log.count(file + ": the newest value of Fan1.Speed is damaged"), 1U) << rows;
        const PER_MODE_E own = file == values_file() ? PER_MODE_PERMANENT : PER_MODE_RESET;
        EXPECT_EQ(read("Fan1", "Speed", own), saved_as(Value{"byte 4"}));
        // The same value is saved again, since the damaged row is newer.
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 4"}, own), PER_OK);
        EXPECT_EQ(newest_mode("Fan1", "Speed"), own);
        cfg_store_close();
        change(file, "DELETE FROM value WHERE name = 'Speed'");
    }
}

TEST_F(DamagedValue, WithAModeOfTheOtherFileIsForgottenByARestoreToDefaults) {
    change(reset_file(), "INSERT INTO value VALUES ('Fan1', 'Speed', 0, 2, 'y', x'05', 1000)");
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(cfg_store_restore_defaults(), PER_OK);
    EXPECT_EQ(newest_mode("Fan1", "Speed"), PER_MODE_BUTT);
}

TEST_F(DamagedValue, MayBeAState) {
    change(values_file(), "INSERT INTO status VALUES ('Fan1', 'Speed', 4294967296)");
    ASSERT_EQ(open_store(), PER_OK);
    CapturedLog log;
    guint32 state = 77;
    EXPECT_EQ(cfg_status_read("Fan1", "Speed", &state), PER_ERROR_DATA_INVALID);
    EXPECT_EQ(state, 77U);
    EXPECT_EQ(log.count("Fan1.Speed"), 1U);
}

// Values larger than what the database keeps in memory, so that reads go to the file.
TEST_F(DamagedValue, FoundWhileRunningIsACodeAndTheFileStaysWhereItIs) {
    ASSERT_EQ(open_store(), PER_OK);
    const Value large{"s", std::string(1U << 20, 'x') + '\0'};
    for (const char* name : {"Log1", "Log2", "Log3", "Log4", "Log5", "Log6", "Log7", "Log8"}) {
        ASSERT_EQ(save("Fan1", name, large), PER_OK);
    }
    ASSERT_EQ(reopen_store(), PER_OK);
    const std::uintmax_t size = std::filesystem::file_size(values_file());
    expect_in_child([&] {  // another process, so that the lock is not lost
        overwrite(values_file(), page, garbage(static_cast<std::size_t>(size) - page));
    });
    CapturedLog log;
    int damaged = 0;
    for (const char* name : {"Log1", "Log2", "Log3", "Log4", "Log5", "Log6", "Log7", "Log8"}) {
        const Saved found = read("Fan1", name);
        EXPECT_TRUE(found == saved_as(large) || found == failed_with(PER_ERROR_DATA_INVALID))
            << name;
        if (found.code == PER_ERROR_DATA_INVALID) ++damaged;
    }
    EXPECT_GT(damaged, 0);
    EXPECT_EQ(log.count("moxplat-persist: " + values_file() + ": "), static_cast<gsize>(damaged));
    EXPECT_TRUE(std::filesystem::exists(values_file()));
    EXPECT_FALSE(std::filesystem::exists(values_file() + ".damaged-1"));
    EXPECT_EQ(read("Fan1", "Property7", PER_MODE_RESET).code, PER_OK);
    EXPECT_EQ(reopen_store(), PER_ERROR_DATA_INVALID);
    EXPECT_TRUE(std::filesystem::exists(values_file() + ".damaged-1"));
}

}  // namespace
}  // namespace mox::test
