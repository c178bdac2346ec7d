// Storage that cannot be used: a code, a line that names path and cause, and nothing saved is lost.
#include <linux/capability.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>

#include "captured_log.hpp"
#include "persist_fixture.hpp"

namespace mox::test {
namespace {

class UnusableStorage : public PersistTest {
protected:
    // Expects that the lasting file is not open, for the cause given, and closes the other.
    static void expect_no_lasting(gint32 cause) {
        CapturedLog log;
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), cause);
        EXPECT_EQ(read("Fan1", "Speed"), failed_with(cause));
        cfg_store_close();
    }
    static void expect_no_volatile(gint32 cause) {
        CapturedLog log;
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_RESET), cause);
        EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), failed_with(cause));
        cfg_store_close();
    }

    // Lets file permissions bind this process, which may be root, from here on.
    static void obey_permissions() {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct none[2]{};
        ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
    }
};

TEST_F(UnusableStorage, BelowAFileIsRefused) {
    std::ofstream{path_of("file")} << "x";
    const std::string below = path_of("file") + "/state";
    {
        CapturedLog log;
        EXPECT_EQ(cfg_store_open(below.c_str(), volatile_dir().c_str()), PER_ERROR_FILE_OPEN_FAIL);
        EXPECT_EQ(log.count("moxplat-persist: " + path_of("file")), 1U);
    }
    expect_no_lasting(PER_ERROR_FILE_OPEN_FAIL);
    {
        CapturedLog log;
        EXPECT_EQ(cfg_store_open(state_dir().c_str(), below.c_str()), PER_ERROR_FILE_OPEN_FAIL);
    }
    expect_no_volatile(PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(content_of(path_of("file")), "x");
}

TEST_F(UnusableStorage, WithADirectoryInAFilesPlaceIsRefused) {
    for (const std::string& file : {values_file(), reset_file()}) {
        std::filesystem::remove_all(volatile_dir());
        std::filesystem::create_directories(file);
        {
            CapturedLog log;
            EXPECT_EQ(open_store(), PER_ERROR_FILE_OPEN_FAIL);
            EXPECT_EQ(log.count(file + ": "), 1U);
        }
        file == values_file() ? expect_no_lasting(PER_ERROR_FILE_OPEN_FAIL)
                              : expect_no_volatile(PER_ERROR_FILE_OPEN_FAIL);
        EXPECT_TRUE(std::filesystem::is_directory(file));
        std::filesystem::remove(file);
    }
    EXPECT_EQ(open_store(), PER_OK);
}

TEST_F(UnusableStorage, WithAPathThatIsTooLongIsRefused) {
    const std::string path = path_of(std::string(300, 'p'));
    CapturedLog log;
    EXPECT_EQ(cfg_store_open(path.c_str(), volatile_dir().c_str()), PER_ERROR_FILE_OPEN_FAIL);
    EXPECT_EQ(log.count(path), 1U);
}

TEST_F(UnusableStorage, ThatMayNotBeWrittenIsRefusedAndKeepsItsValues) {
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 7"}), PER_OK);
    cfg_store_close();
    const std::string before = content_of(values_file());
    std::filesystem::permissions(values_file(), std::filesystem::perms::owner_read);
    expect_in_child([this] {
        obey_permissions();
        CapturedLog log;
        EXPECT_EQ(open_store(), PER_ERROR_FILE_WRITE_FAIL);
        EXPECT_EQ(log.count(values_file() + ": "), 1U);
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_ERROR_FILE_WRITE_FAIL);
        cfg_store_close();
    });
    EXPECT_EQ(content_of(values_file()), before);
}

TEST_F(UnusableStorage, ThatMayNotBeReadIsRefused) {
    ASSERT_EQ(open_store(), PER_OK);
    cfg_store_close();
    std::filesystem::permissions(values_file(), std::filesystem::perms::none);
    expect_in_child([this] {
        obey_permissions();
        CapturedLog log;
        EXPECT_EQ(open_store(), PER_ERROR_FILE_OPEN_FAIL);
        EXPECT_EQ(log.count(values_file() + ": "), 1U);
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_ERROR_FILE_OPEN_FAIL);
        cfg_store_close();
    });
}

TEST_F(UnusableStorage, WhereNothingMayBeMadeIsRefused) {
    std::filesystem::create_directory(path_of("locked"));
    std::filesystem::permissions(
        path_of("locked"), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    expect_in_child([this] {
        obey_permissions();
        CapturedLog log;
        EXPECT_EQ(cfg_store_open(path_of("locked").c_str(), volatile_dir().c_str()),
                  PER_ERROR_FILE_OPEN_FAIL);
        cfg_store_close();
        EXPECT_EQ(cfg_store_open(path_of("locked/state").c_str(), volatile_dir().c_str()),
                  PER_ERROR_FILE_OPEN_FAIL);
        EXPECT_EQ(log.count(path_of("locked/values.db") + ": "), 1U);
        EXPECT_EQ(log.count(path_of("locked/state") + ": "), 1U);
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_ERROR_FILE_OPEN_FAIL);
        cfg_store_close();
    });
}

TEST_F(UnusableStorage, WhereDamageCannotBeKeptAsideIsRefusedAndUnchanged) {
    std::filesystem::create_directory(state_dir());
    const std::string damaged(5000, 'x');
    std::ofstream{values_file()} << damaged;
    std::filesystem::permissions(
        state_dir(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
    expect_in_child([this] {
        obey_permissions();
        CapturedLog log;
        EXPECT_EQ(open_store(), PER_ERROR_FILE_WRITE_FAIL);
        EXPECT_EQ(log.count("cannot be kept aside"), 1U);
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_ERROR_FILE_WRITE_FAIL);
        cfg_store_close();
    });
    EXPECT_EQ(content_of(values_file()), damaged);
}

class FullStorage : public PersistTest {
protected:
    // No file of this process may grow beyond the size from here on.
    static void limit_files(rlim_t size) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit limit{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
        limit.rlim_cur = size;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    static void lift_limit() {
        rlimit limit{};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
        limit.rlim_cur = limit.rlim_max;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
};

TEST_F(FullStorage, RefusesASaveAndKeepsTheFormerValue) {
    expect_in_child([this] {
        for (const PER_MODE_E mode : {PER_MODE_PERMANENT, PER_MODE_POWER_OFF, PER_MODE_RESET}) {
            ASSERT_TRUE(open_store() == PER_OK);
            ASSERT_EQ(save("Fan1", "Speed", Value{"byte 7"}, mode), PER_OK);
            limit_files(40000);
            CapturedLog log;
            const Value large{"s", std::string(100000, 'x') + '\0'};
            EXPECT_EQ(save("Fan1", "Speed", large, mode), PER_ERROR_FILE_WRITE_FAIL);
            EXPECT_EQ(log.count("moxplat-persist: " + path_of("")), 1U);
            EXPECT_EQ(log.count("saving a value failed"), 1U);
            EXPECT_EQ(read("Fan1", "Speed", mode), saved_as(Value{"byte 7"}));
            lift_limit();
            EXPECT_EQ(read("Fan1", "Speed", mode), saved_as(Value{"byte 7"}));
            ASSERT_EQ(save("Fan1", "Speed", Value{"byte 8"}, mode), PER_OK);
            ASSERT_EQ(reopen_store(), PER_OK);
            EXPECT_EQ(read("Fan1", "Speed", mode), saved_as(Value{"byte 8"}));
            cfg_store_close();
        }
    });
}

TEST_F(FullStorage, KeepsTheFormerValueOverARestart) {
    expect_in_child([this] {
        ASSERT_EQ(open_store(), PER_OK);
        ASSERT_EQ(save("Fan1", "Speed", Value{"byte 7"}), PER_OK);
        limit_files(40000);
        CapturedLog log;
        const Value large{"s", std::string(100000, 'x') + '\0'};
        EXPECT_EQ(save("Fan1", "Speed", large), PER_ERROR_FILE_WRITE_FAIL);
        EXPECT_EQ(save("Fan1", "Other", large), PER_ERROR_FILE_WRITE_FAIL);
    });
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"byte 7"}));
    EXPECT_EQ(read("Fan1", "Other"), nothing_saved());
}

TEST_F(FullStorage, RefusesARestoreToDefaultsAsAWhole) {
    expect_in_child([this] {
        ASSERT_EQ(open_store(), PER_OK);
        ASSERT_EQ(save("Fan1", "Speed", Value{"byte 7"}, PER_MODE_POWER_OFF), PER_OK);
        ASSERT_EQ(save("Fan1", "Speed", Value{"byte 8"}, PER_MODE_RESET), PER_OK);
        ASSERT_EQ(cfg_status_save("Fan1", "Speed", 2), PER_OK);
        limit_files(1);
        CapturedLog log;
        EXPECT_EQ(cfg_store_restore_defaults(), PER_ERROR_FILE_WRITE_FAIL);
        EXPECT_EQ(log.count("restoring the defaults failed"), 1U);
        guint32 state = 0;
        EXPECT_EQ(cfg_status_read("Fan1", "Speed", &state), PER_OK);
        EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), saved_as(Value{"byte 7"}));
        EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), saved_as(Value{"byte 8"}));
        lift_limit();
        EXPECT_EQ(cfg_store_restore_defaults(), PER_OK);
        EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), nothing_saved());
    });
}

// The log of the volatile file is beyond the limit already, that of the lasting one far below.
TEST_F(FullStorage, ForTheResetValuesAloneIsToldApartByARestoreToDefaults) {
    expect_in_child([this] {
        ASSERT_EQ(open_store(), PER_OK);
        const Value large{"s", std::string(100000, 'x') + '\0'};
        ASSERT_EQ(save("Fan1", "Speed", Value{"byte 7"}, PER_MODE_POWER_OFF), PER_OK);
        ASSERT_EQ(save("Fan1", "Level", Value{"byte 9"}, PER_MODE_PERMANENT), PER_OK);
        ASSERT_EQ(save("Fan1", "Log", large, PER_MODE_RESET), PER_OK);
        limit_files(100000);
        CapturedLog log;
        EXPECT_EQ(cfg_store_restore_defaults(), PER_ERROR_CLEAR_CFG_FLAG);
        EXPECT_EQ(log.count(reset_file() + ": the defaults are half restored: the power-off"), 1U);
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), nothing_saved());
            EXPECT_EQ(read("Fan1", "Level"), saved_as(Value{"byte 9"}));
            EXPECT_EQ(read("Fan1", "Log", PER_MODE_RESET), saved_as(large));
            lift_limit();
            ASSERT_EQ(reopen_store(), PER_OK);
        }
        EXPECT_EQ(cfg_store_restore_defaults(), PER_OK);
        EXPECT_EQ(read("Fan1", "Log", PER_MODE_RESET), nothing_saved());
        cfg_store_close();
    });
}

TEST_F(FullStorage, ThatIsRefusedARestoreTakesSavesAgain) {
    expect_in_child([this] {
        ASSERT_EQ(open_store(), PER_OK);
        ASSERT_EQ(save("Fan1", "Speed", Value{"byte 7"}, PER_MODE_POWER_OFF), PER_OK);
        ASSERT_EQ(save("Fan1", "Speed", Value{"byte 8"}, PER_MODE_RESET), PER_OK);
        limit_files(1);
        CapturedLog log;
        ASSERT_EQ(cfg_store_restore_defaults(), PER_ERROR_FILE_WRITE_FAIL);
        lift_limit();
        EXPECT_EQ(save("Fan1", "Level", Value{"byte 1"}, PER_MODE_POWER_OFF), PER_OK);
        EXPECT_EQ(save("Fan1", "Level", Value{"byte 2"}, PER_MODE_RESET), PER_OK);
        ASSERT_EQ(reopen_store(), PER_OK);
        EXPECT_EQ(read("Fan1", "Level", PER_MODE_POWER_OFF), saved_as(Value{"byte 1"}));
        EXPECT_EQ(read("Fan1", "Level", PER_MODE_RESET), saved_as(Value{"byte 2"}));
        cfg_store_close();
    });
}

TEST_F(FullStorage, RefusesToOpenAFreshStoreAndOpensItLater) {
    expect_in_child([this] {
        limit_files(100);
        CapturedLog log;
        EXPECT_EQ(open_store(), PER_ERROR_FILE_WRITE_FAIL);
        EXPECT_GE(log.count("moxplat-persist: " + path_of("")), 1U);
        lift_limit();
        EXPECT_EQ(open_store(), PER_OK);
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 7"}), PER_OK);
        cfg_store_close();
    });
}

TEST_F(FullStorage, RefusesAStateAndKeepsTheFormerOne) {
    expect_in_child([this] {
        ASSERT_EQ(open_store(), PER_OK);
        ASSERT_EQ(cfg_status_save("Fan1", "Speed", 2), PER_OK);
        limit_files(1);
        CapturedLog log;
        EXPECT_EQ(cfg_status_save("Fan1", "Speed", 3), PER_ERROR_FILE_WRITE_FAIL);
        EXPECT_EQ(cfg_status_remove("Fan1", "Speed"), PER_ERROR_FILE_WRITE_FAIL);
        guint32 state = 0;
        EXPECT_EQ(cfg_status_read("Fan1", "Speed", &state), PER_OK);
        EXPECT_EQ(state, 2U);
        EXPECT_EQ(log.count("moxplat-persist: " + values_file()), 2U);
        lift_limit();
        cfg_store_close();
    });
}

}  // namespace
}  // namespace mox::test
