// Opening: what is made where, who may have the store open, and what a start of the machine
// forgets.
#include <sys/stat.h>

#include "captured_log.hpp"
#include "child_process.hpp"
#include "persist_fixture.hpp"
#include "watched_files.hpp"

namespace mox::test {
namespace {

class StoreFiles : public PersistTest {
protected:
    static unsigned mode_of(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777U;
    }
};

TEST_F(StoreFiles, AreMadeWithTheirDirectoriesForTheirOwnerOnly) {
    const std::string state = path_of("a/b/state/");
    ASSERT_EQ(cfg_store_open(state.c_str(), volatile_dir().c_str()), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_PERMANENT), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_RESET), PER_OK);
    for (const char* made : {"a", "a/b", "a/b/state", "run"}) {
        EXPECT_EQ(mode_of(path_of(made)), 0700U) << made;
    }
    for (const std::string& made : {state + "values.db", reset_file()}) {
        EXPECT_EQ(mode_of(made), 0600U) << made;
        EXPECT_EQ(mode_of(made + "-wal"), 0600U) << made;
    }
}

TEST_F(StoreFiles, AreTheirTwoAloneAfterAClose) {
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_PERMANENT), PER_OK);
    cfg_store_close();
    const auto files = snapshot();
    EXPECT_EQ(files.size(), 2U);
    EXPECT_EQ(files.count("values.db"), 1U);
    EXPECT_EQ(files.count("reset.db"), 1U);
}

TEST_F(StoreFiles, MayLieInOneDirectory) {
    ASSERT_EQ(cfg_store_open(state_dir().c_str(), state_dir().c_str()), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_PERMANENT), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 2"}, PER_MODE_RESET), PER_OK);
    cfg_store_close();
    ASSERT_EQ(cfg_store_open(state_dir().c_str(), state_dir().c_str()), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_PERMANENT), saved_as(Value{"byte 1"}));
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), saved_as(Value{"byte 2"}));
}

TEST_F(StoreFiles, HoldResetValuesInTheVolatileOneOnly) {
    ASSERT_EQ(open_store(), PER_OK);
    const auto before = snapshot();
    ASSERT_EQ(save("Fan1", "Speed", Value{"'only for now'"}, PER_MODE_RESET), PER_OK);
    const auto after = snapshot();
    EXPECT_EQ(after.at("values.db"), before.at("values.db"));
    EXPECT_EQ(after.at("values.db-wal"), before.at("values.db-wal"));
    EXPECT_NE(after.at("reset.db-wal").find("only for now"), std::string::npos);
}

TEST_F(StoreFiles, OfAnEmptyFileAreAFreshStore) {
    std::filesystem::create_directories(state_dir());
    std::ofstream{values_file()}.flush();
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_OK);
}

class StoreOwner : public PersistTest {};

TEST_F(StoreOwner, OpensOnce) {
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_OK);
    EXPECT_EQ(open_store(), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(cfg_store_open(path_of("x").c_str(), path_of("y").c_str()), PER_ERROR_CFG_INIT_FAIL);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"byte 1"}));
}

TEST_F(StoreOwner, ClosesAsOftenAsItLikes) {
    cfg_store_close();
    ASSERT_EQ(open_store(), PER_OK);
    cfg_store_close();
    cfg_store_close();
    EXPECT_EQ(open_store(), PER_OK);
}

TEST_F(StoreOwner, KeepsEveryOtherProcessOut) {
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_OK);
    expect_in_child([this] {
        CapturedLog log;
        EXPECT_EQ(open_store(), PER_ERROR_FILE_LOCK_FAIL);
        EXPECT_EQ(log.count("moxplat-persist: "), 2U);
        EXPECT_EQ(log.count(values_file() + ": "), 1U);
        EXPECT_EQ(log.count(reset_file() + ": "), 1U);
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 2"}), PER_ERROR_CFG_INIT_FAIL);
        // A volatile file of its own does not let it in.
        EXPECT_EQ(cfg_store_open(state_dir().c_str(), path_of("other").c_str()),
                  PER_ERROR_FILE_LOCK_FAIL);
        EXPECT_EQ(save("Fan1", "Speed", Value{"byte 2"}), PER_ERROR_FILE_LOCK_FAIL);
        cfg_store_close();
    });
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 3"}), PER_OK);
    ASSERT_EQ(reopen_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"byte 3"}));
}

TEST_F(StoreOwner, MakesRoomForTheNextWhenItIsKilled) {
    ChildProcess owner{[this](const Parent& parent) {
        parent.tell(open_store());
        parent.wait_for_word();
        return 0;
    }};
    ASSERT_EQ(owner.hear<gint32>(), PER_OK);
    {
        CapturedLog log;
        EXPECT_EQ(open_store(), PER_ERROR_FILE_LOCK_FAIL);
    }
    owner.kill();
    EXPECT_EQ(owner.status(), -SIGKILL);
    EXPECT_EQ(open_store(), PER_OK);
}

TEST_F(StoreOwner, LeavesNothingOpenToAForkedChild) {
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}), PER_OK);
    expect_in_child([this] {
        EXPECT_EQ(read("Fan1", "Speed"), failed_with(PER_ERROR_CFG_INIT_FAIL));
        EXPECT_EQ(cfg_store_open(path_of("x").c_str(), path_of("y").c_str()), PER_OK);
        EXPECT_EQ(read("Fan1", "Speed"), nothing_saved());
        expect_in_child(
            [] { EXPECT_EQ(read("Fan1", "Speed"), failed_with(PER_ERROR_CFG_INIT_FAIL)); });
        cfg_store_close();
    });
    EXPECT_EQ(save("Fan1", "Speed", Value{"byte 2"}), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed"), saved_as(Value{"byte 2"}));
}

class MachineStart : public PersistTest {
public:
    ~MachineStart() override { redirect_stream({}, {}); }
    MachineStart(const MachineStart&) = delete;
    MachineStart& operator=(const MachineStart&) = delete;

protected:
    MachineStart() = default;

    void SetUp() override {
        start_machine("first");
        ASSERT_EQ(open_store(), PER_OK);
        ASSERT_EQ(save("Fan1", "Speed", Value{"byte 1"}, PER_MODE_RESET), PER_OK);
        ASSERT_EQ(save("Fan1", "Speed", Value{"byte 2"}, PER_MODE_POWER_OFF), PER_OK);
        ASSERT_EQ(save("Fan1", "Speed", Value{"byte 3"}, PER_MODE_PERMANENT), PER_OK);
        ASSERT_EQ(save("Fan1", "Level", Value{"byte 4"}, PER_MODE_RESET), PER_OK);
        cfg_store_close();
    }

    // The kernel's id of this start, as the store will see it.
    void start_machine(const std::string& id) {
        std::ofstream{path_of("boot_id")} << id;
        redirect_stream("/proc/sys/kernel/random/boot_id", path_of("boot_id"));
    }
};

TEST_F(MachineStart, ForgetsTheResetValuesWhereverTheyLie) {
    start_machine("second\n");
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), nothing_saved());
    EXPECT_EQ(read("Fan1", "Level", PER_MODE_RESET), nothing_saved());
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_POWER_OFF), saved_as(Value{"byte 2"}));
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_PERMANENT), saved_as(Value{"byte 3"}));
    EXPECT_EQ(newest_mode("Fan1", "Level"), PER_MODE_BUTT);
}

TEST_F(MachineStart, IsKnownByItsIdWhenOnlyProcessesStartAnew) {
    start_machine("first\n");
    ASSERT_EQ(open_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), saved_as(Value{"byte 1"}));
}

TEST_F(MachineStart, ForgetsOnce) {
    start_machine("second");
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Level", Value{"byte 5"}, PER_MODE_RESET), PER_OK);
    ASSERT_EQ(reopen_store(), PER_OK);
    EXPECT_EQ(read("Fan1", "Level", PER_MODE_RESET), saved_as(Value{"byte 5"}));
}

TEST_F(MachineStart, ThatIsNotToldForgetsNothingAndIsLogged) {
    for (const char* unreadable : {"/nowhere", "/dev/null"}) {
        redirect_stream("/proc/sys/kernel/random/boot_id", unreadable);
        CapturedLog log;
        ASSERT_EQ(reopen_store(), PER_OK);
        EXPECT_EQ(log.count("boot_id"), 1U) << unreadable;
        EXPECT_EQ(read("Fan1", "Speed", PER_MODE_RESET), saved_as(Value{"byte 1"}));
    }
}

TEST_F(MachineStart, IsTheKernelsOwn) {
    redirect_stream({}, {});
    ASSERT_EQ(open_store(), PER_OK);
    ASSERT_EQ(save("Fan1", "Speed", Value{"byte 9"}, PER_MODE_RESET), PER_OK);
    cfg_store_close();
    std::string id = content_of("/proc/sys/kernel/random/boot_id");
    ASSERT_FALSE(id.empty());
    EXPECT_NE(content_of(reset_file()).find(id.substr(0, id.find('\n'))), std::string::npos);
}

}  // namespace
}  // namespace mox::test
