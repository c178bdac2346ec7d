// What a save that returned is worth: kills right after it, files copied right after it, and what
// reached the storage when it returned.
#include "child_process.hpp"
#include "persist_fixture.hpp"
#include "watched_files.hpp"

namespace mox::test {
namespace {

class KilledOwner : public PersistTest {};

TEST_F(KilledOwner, LosesNoValueThatASaveReturnedFor) {
    for (int round = 0; round < 50; ++round) {
        const std::string text = "uint32 " + std::to_string(round);
        const Value value{text.c_str()};
        const std::string state = path_of("state" + std::to_string(round));
        const std::string run = path_of("run" + std::to_string(round));
        ChildProcess owner{[&](const Parent& parent) {
            if (cfg_store_open(state.c_str(), run.c_str()) != PER_OK) return 1;
            for (const PER_MODE_E mode : {PER_MODE_POWER_OFF, PER_MODE_PERMANENT, PER_MODE_RESET}) {
                if (save("Fan1", "Speed", value, mode) != PER_OK) return 2;
            }
            if (cfg_status_save("Fan1", "Speed", 6) != PER_OK) return 3;
            parent.tell(char{1});
            parent.wait_for_word();
            return 4;
        }};
        ASSERT_EQ(owner.hear<char>(), 1);
        owner.kill();
        ASSERT_EQ(owner.status(), -SIGKILL);
        ASSERT_EQ(cfg_store_open(state.c_str(), run.c_str()), PER_OK);
        for (const PER_MODE_E mode : {PER_MODE_POWER_OFF, PER_MODE_PERMANENT, PER_MODE_RESET}) {
            EXPECT_EQ(read("Fan1", "Speed", mode), saved_as(value));
        }
        guint32 status = 0;
        EXPECT_EQ(cfg_status_read("Fan1", "Speed", &status), PER_OK);
        EXPECT_EQ(status, 6U);
        cfg_store_close();
    }
}

TEST_F(KilledOwner, InTheMidstOfSavesLeavesTheLastOneThatReturnedOrTheNext) {
    for (int round = 0; round < 20; ++round) {
        ChildProcess owner{[this](const Parent& parent) {
            if (open_store() != PER_OK) return 1;
            for (guint32 number = 1;; ++number) {
                const std::string text = "uint32 " + std::to_string(number);
                if (save("Fan1", "Speed", Value{text.c_str()}) != PER_OK) return 2;
                parent.tell(number);
            }
        }};
        guint32 last = owner.hear<guint32>();
        for (int i = 0; i < 5 * round; ++i) last = owner.hear<guint32>();
        owner.kill();
        ASSERT_EQ(owner.status(), -SIGKILL);
        // The pipe may hold more than was heard before the kill.
        for (guint32 more = owner.hear<guint32>(); more != 0; more = owner.hear<guint32>()) {
            last = more;
        }
        ASSERT_NE(last, 0U);
        ASSERT_EQ(open_store(), PER_OK);
        const Saved found = read("Fan1", "Speed");
        const std::string next = "uint32 " + std::to_string(last + 1);
        const std::string returned = "uint32 " + std::to_string(last);
        EXPECT_TRUE(found == saved_as(Value{returned.c_str()}) ||
                    found == saved_as(Value{next.c_str()}))
            << ::testing::PrintToString(found) << " after " << last;
        ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 0"}), PER_OK);
        cfg_store_close();
    }
}

class LossOfPower : public PersistTest {};

// The files as they are on return: nothing is closed, folded or cleaned up.
TEST_F(LossOfPower, RightAfterASaveFindsTheValueInTheFiles) {
    for (int round = 0; round < 5; ++round) {
        const std::string text = "uint32 " + std::to_string(round);
        const Value value{text.c_str()};
        ChildProcess owner{[&](const Parent& parent) {
            if (open_store() != PER_OK) return 1;
            if (save("Fan1", "Speed", value, PER_MODE_PERMANENT) != PER_OK) return 2;
            if (save("Fan1", "Level", value, PER_MODE_POWER_OFF) != PER_OK) return 3;
            parent.tell(char{1});
            parent.wait_for_word();
            return 4;
        }};
        ASSERT_EQ(owner.hear<char>(), 1);
        const std::string copy = path_of("after" + std::to_string(round));
        std::filesystem::copy(state_dir(), copy);
        owner.kill();
        ASSERT_EQ(owner.status(), -SIGKILL);
        ASSERT_EQ(cfg_store_open(copy.c_str(), path_of("new").c_str()), PER_OK);
        EXPECT_EQ(read("Fan1", "Speed", PER_MODE_PERMANENT), saved_as(value));
        EXPECT_EQ(read("Fan1", "Level", PER_MODE_POWER_OFF), saved_as(value));
        cfg_store_close();
    }
}

TEST_F(LossOfPower, AfterAHalfWrittenSaveFindsTheFormerValue) {
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}), PER_OK);
    const std::size_t whole = snapshot().at("values.db-wal").size();
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 2"}), PER_OK);
    const auto files = snapshot();
    ASSERT_GT(files.at("values.db-wal").size(), whole);
    cfg_store_close();
    const std::string cut = path_of("cut");
    std::filesystem::create_directory(cut);
    std::ofstream{cut + "/values.db", std::ios::binary} << files.at("values.db");
    std::ofstream{cut + "/values.db-wal", std::ios::binary}
        << files.at("values.db-wal").substr(0, whole + 1000);
    ASSERT_EQ(cfg_store_open(cut.c_str(), volatile_dir().c_str()), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"uint32 1"}));
}

class Commit : public OpenStore {
protected:
    void SetUp() override {
        OpenStore::SetUp();
        watch_files("values.db", "values.db-wal");
    }
};

TEST_F(Commit, OfALastingValueIsOnTheStorageWhenTheSaveReturns) {
    guint32 number = 0;
    for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_POWER_OFF}) {
        for (int round = 0; round < 300; ++round) {  // over at least one folding of the log
            const FileCounts before = watched_files();
            const std::string text = "uint32 " + std::to_string(++number);
            ASSERT_EQ(save("Fan1", "Speed", Value{text.c_str()}, mode), PER_OK);
            const FileCounts after = watched_files();
            ASSERT_GT(after.writes, before.writes);
            ASSERT_GT(after.synchronised, before.synchronised);
        }
    }
}

TEST_F(Commit, LeavesNoWriteOfTheLogUnsynchronised) {
    watch_files("values.db-wal", "values.db-wal");
    guint32 number = 0;
    for (int round = 0; round < 300; ++round) {
        const std::string text = "uint32 " + std::to_string(++number);
        ASSERT_EQ(save("Fan1", "Speed", Value{text.c_str()}), PER_OK);
        ASSERT_EQ(watched_files().unsynchronised, 0) << round;
    }
    EXPECT_GT(watched_files().writes, 300);
}

TEST_F(Commit, IsOneSynchronisationAsARule) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}), PER_OK);
    const FileCounts before = watched_files();
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 2"}), PER_OK);
    EXPECT_EQ(watched_files().synchronised, before.synchronised + 1);
}

TEST_F(Commit, OfAStateIsOnTheStorageWhenTheCallReturns) {
    const FileCounts before = watched_files();
    ASSERT_EQ(cfg_status_save("Fan1", "Speed", 2), PER_OK);
    const FileCounts saved = watched_files();
    EXPECT_GT(saved.synchronised, before.synchronised);
    EXPECT_EQ(saved.unsynchronised, 0);
    ASSERT_EQ(cfg_status_remove("Fan1", "Speed"), PER_OK);
    EXPECT_GT(watched_files().synchronised, saved.synchronised);
    EXPECT_EQ(watched_files().unsynchronised, 0);
}

TEST_F(Commit, OfARestoreToDefaultsIsOnTheStorageWhenTheCallReturns) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 1"}, PER_MODE_POWER_OFF), PER_OK);
    const FileCounts before = watched_files();
    ASSERT_EQ(cfg_store_restore_defaults(), PER_OK);
    EXPECT_GT(watched_files().synchronised, before.synchronised);
    EXPECT_EQ(watched_files().unsynchronised, 0);
}

class UnchangedSave : public Commit {
protected:
    // Runs the body and expects that it writes to no file of the store.
    template <typename Body>
    void expect_no_write(Body&& body) {
        watch_files(".db", "-wal");
        const auto before = snapshot();
        body();
        EXPECT_EQ(snapshot(), before);
        EXPECT_EQ(watched_files().writes, 0);
        EXPECT_EQ(watched_files().synchronised, 0);
    }
};

TEST_F(UnchangedSave, OfAValueWritesNothing) {
    for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_POWER_OFF, PER_MODE_RESET}) {
        for (const char* text : {"uint32 5", "'text'", "@as []"}) {
            ASSERT_EQ(save("Fan1", "Speed", Value{text}, mode), PER_OK);
            expect_no_write([&] { EXPECT_EQ(save("Fan1", "Speed", Value{text}, mode), PER_OK); });
        }
    }
}

TEST_F(UnchangedSave, OfAValueWritesNothingAfterARestart) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 5"}), PER_OK);
    ASSERT_EQ(reopen_store(), PER_OK);
    expect_no_write([] { EXPECT_EQ(save("Fan1", "Speed", Value{"uint32 5"}), PER_OK); });
}

TEST_F(UnchangedSave, OfAStateWritesNothing) {
    ASSERT_EQ(cfg_status_save("Fan1", "Speed", 6), PER_OK);
    expect_no_write([] { EXPECT_EQ(cfg_status_save("Fan1", "Speed", 6), PER_OK); });
}

TEST_F(UnchangedSave, IsARemovalOfWhatIsNotThere) {
    expect_no_write([] {
        EXPECT_EQ(cfg_status_remove("Fan1", "Speed"), PER_OK);
        EXPECT_EQ(cfg_store_restore_defaults(), PER_OK);
    });
}

TEST_F(UnchangedSave, IsNoneWithTheSameBytesOfAnotherType) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 5"}), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"5"}), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"5"}));
}

TEST_F(UnchangedSave, OfAValueWritesNothingWhenOnlyOtherItemsAreNewer) {
    for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_POWER_OFF, PER_MODE_RESET}) {
        ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 5"}, mode), PER_OK);
        for (const PER_MODE_E other : {PER_MODE_PERMANENT, PER_MODE_POWER_OFF, PER_MODE_RESET}) {
            ASSERT_EQ(save("Fan2", "Speed", Value{"uint32 5"}, other), PER_OK);
        }
        expect_no_write([&] { EXPECT_EQ(save("Fan1", "Speed", Value{"uint32 5"}, mode), PER_OK); });
    }
}

TEST_F(UnchangedSave, IsNoneWhenAnotherModeIsNewer) {
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 5"}, PER_MODE_PERMANENT), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 6"}, PER_MODE_RESET), PER_OK);
    const FileCounts before = watched_files();
    ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 5"}, PER_MODE_PERMANENT), PER_OK);
    EXPECT_GT(watched_files().writes, before.writes);
}

TEST_F(UnchangedSave, IsNoneWhenAnotherModeOfAnyFileIsNewerAlsoAfterARestart) {
    constexpr PER_MODE_E kModes[] = {PER_MODE_PERMANENT, PER_MODE_POWER_OFF, PER_MODE_RESET};
    for (const PER_MODE_E mode : kModes) {
        for (const PER_MODE_E other : kModes) {
            if (other == mode) continue;
            ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 5"}, mode), PER_OK);
            ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 6"}, other), PER_OK);
            ASSERT_EQ(reopen_store(), PER_OK);
            ASSERT_EQ(save("Fan1", "Speed", Value{"uint32 5"}, mode), PER_OK);
            EXPECT_EQ(newest_mode("Fan1", "Speed"), mode);
        }
    }
}

}  // namespace
}  // namespace mox::test
