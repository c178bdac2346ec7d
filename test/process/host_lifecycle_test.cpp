// Starting and stopping the owner: what it makes, what it finds, what it leaves.
#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>

#include "host_owner.hpp"

namespace mox::test {
namespace {

constexpr key_t pool_key = 0x131231;

bool has_pool() {
    return shmget(pool_key, 0, 0) >= 0;
}

std::size_t lines_in(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

// What lies in a directory, in one line.
std::string names_in(const std::string& directory) {
    std::string names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names += entry.path().filename().string() + " ";
    }
    return names;
}

TEST(Owner, SaysThatItIsReadyInOneLine) {
    HostOwner owner;
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    const std::string output = owner.process().output();
    EXPECT_EQ(output.rfind("ready: 4 objects, 4 classes, pool ", 0), 0U) << output;
    EXPECT_NE(output.find(" bytes, socket " + owner.run_dir() + "/moxd.sock\n"), std::string::npos)
        << output;
}

TEST(Owner, LeavesNothingButSavedValuesBehindAfterACleanStop) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        HostOwner owner;
        ASSERT_TRUE(owner.start()) << owner.process().errors();
        EXPECT_GT(system_v_objects(), 0);
        EXPECT_EQ(owner.process().end(signal), 0) << owner.process().errors();
        EXPECT_EQ(system_v_objects(), 0);
        EXPECT_EQ(names_in(owner.run_dir()), "reset.db ");
        EXPECT_EQ(names_in(owner.state_dir()), "values.db ");
    }
}

TEST(Owner, RemovesTheRunDirectoryThatItMadeWhenNothingIsSavedThere) {
    HostOwner owner;
    std::vector<std::string> command = owner.command(sensor_profile(owner.dir().path("chip")));
    command.insert(command.end(), {"--volatile-dir", owner.dir().path("volatile").string()});
    ASSERT_TRUE(owner.start_command(command)) << owner.process().errors();
    EXPECT_EQ(owner.stop(), 0);
    EXPECT_FALSE(std::filesystem::exists(owner.run_dir()));
    EXPECT_EQ(names_in(owner.dir().path("volatile")), "reset.db ");
}

TEST(Owner, StopsCleanlyWhenTheSignalComesWhileItStarts) {
    HostOwner owner;
    ChildProcess& process = owner.run(owner.command(sensor_profile(owner.dir().path("chip"))));
    ASSERT_TRUE(eventually([] { return has_pool(); }));
    EXPECT_EQ(process.end(SIGTERM), 0) << process.errors();
    EXPECT_EQ(system_v_objects(), 0);
}

TEST(Owner, RefusesToStartBesideALiveOne) {
    HostOwner first;
    ASSERT_TRUE(first.start()) << first.process().errors();
    const int objects = system_v_objects();
    HostOwner second;
    EXPECT_FALSE(second.start());
    EXPECT_EQ(second.process().wait(), 1);
    const std::string errors = second.process().errors();
    EXPECT_EQ(lines_in(errors), 1U) << errors;
    EXPECT_NE(errors.find("process " + std::to_string(first.process().pid()) + " owns the pool"),
              std::string::npos)
        << errors;
    EXPECT_EQ(system_v_objects(), objects);
    EXPECT_FALSE(std::filesystem::exists(second.run_dir()));
    EXPECT_EQ(first.stop(), 0);
}

TEST(Owner, RemovesWhatAKilledOneLeftAndSaysSo) {
    HostOwner owner;
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    const pid_t killed = owner.process().pid();
    owner.process().end(SIGKILL);
    ASSERT_TRUE(has_pool());
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    const std::string errors = owner.process().errors();
    EXPECT_NE(errors.find("stale pool segment"), std::string::npos) << errors;
    EXPECT_NE(errors.find("of the dead process " + std::to_string(killed) + " removed"),
              std::string::npos)
        << errors;
    EXPECT_EQ(owner.stop(), 0);
    EXPECT_EQ(system_v_objects(), 0);
}

TEST(Owner, TakesAPoolOfAnUnreapedChildForStale) {
    const pid_t creator = fork();
    if (creator == 0) {
        _exit(shmget(pool_key, 4096, IPC_CREAT | 0600) >= 0 ? 0 : 1);
    }
    siginfo_t info = {};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(creator), &info, WEXITED | WNOWAIT), 0);
    HostOwner owner;
    EXPECT_TRUE(owner.start()) << owner.process().errors();
    waitpid(creator, nullptr, 0);
}

TEST(Owner, LeavesAPoolOfALiveProcessAlone) {
    const int pool = shmget(pool_key, 4096, IPC_CREAT | 0600);
    ASSERT_GE(pool, 0);
    HostOwner owner;
    EXPECT_FALSE(owner.start());
    EXPECT_EQ(owner.process().wait(), 1);
    EXPECT_TRUE(has_pool());
    EXPECT_EQ(shmctl(pool, IPC_RMID, nullptr), 0);
}

TEST(Owner, MakesAMissingRunDirectoryForThisUserOnly) {
    HostOwner owner;
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    struct stat status = {};
    ASSERT_EQ(stat(owner.run_dir().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

TEST(Owner, KeepsARunDirectoryThatWasThereBefore) {
    HostOwner owner;
    std::filesystem::create_directory(owner.run_dir());
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    EXPECT_EQ(owner.stop(), 0);
    EXPECT_EQ(names_in(owner.run_dir()), "reset.db ");
}

// Expects that the owner does not start, says why in one line, and leaves nothing.
void expect_refusal(HostOwner& owner, const std::string& cause) {
    EXPECT_FALSE(owner.start());
    EXPECT_EQ(owner.process().wait(), 1);
    const std::string errors = owner.process().errors();
    EXPECT_NE(errors.find(cause), std::string::npos) << errors;
    EXPECT_EQ(lines_in(errors), 1U) << errors;
    EXPECT_EQ(system_v_objects(), 0);
}

TEST(Owner, RefusesARunDirectoryThatOthersMayWrite) {
    HostOwner owner;
    std::filesystem::create_directory(owner.run_dir());
    chmod(owner.run_dir().c_str(), 0770);
    expect_refusal(owner, "run directory " + owner.run_dir() + " is writable by others");
}

TEST(Owner, RefusesALinkInPlaceOfARunDirectory) {
    HostOwner owner;
    std::filesystem::create_directory(owner.dir().path("elsewhere"));
    std::filesystem::create_directory_symlink(owner.dir().path("elsewhere"), owner.run_dir());
    expect_refusal(owner, "is not a directory");
}

TEST(Owner, RefusesARunDirectoryWhoseSocketPathWouldBeTooLong) {
    HostOwner owner;
    const std::string profile = sensor_profile(owner.dir().path("chip"));
    std::vector<std::string> command = owner.command(profile);
    command.back() = owner.dir().path(std::string(120, 'd')).string();
    ChildProcess& process = owner.run(command);
    EXPECT_EQ(process.wait(), 1);
    EXPECT_NE(process.errors().find("too long for a socket"), std::string::npos)
        << process.errors();
    EXPECT_EQ(system_v_objects(), 0);
    EXPECT_FALSE(std::filesystem::exists(command.back()));
}

TEST(Owner, OfAWrongProfileNamesTheFirstFaultAndTheCheckAndLeavesNothing) {
    HostOwner owner;
    EXPECT_FALSE(
        owner.start(R"({"classes": [{"name": "A"}], "objects": [{"name": "a", "class": "B"}]})"));
    EXPECT_EQ(owner.process().wait(), 2);
    EXPECT_EQ(owner.process().errors(),
              owner.profile_path() +
                  ": objects[0] \"a\": \"class\" names class \"B\", which does not exist\n"
                  "moxd: not started; moxd --check FILE names every fault\n");
    EXPECT_EQ(owner.process().output(), "");
    EXPECT_EQ(system_v_objects(), 0);
    EXPECT_FALSE(std::filesystem::exists(owner.run_dir()));
}

TEST(Owner, WhosePoolIsTooSmallSaysHowToMakeItLarger) {
    HostOwner owner;
    setenv("SHAMRE_MEMORY_SIZE", "8", 1);
    const std::string text(9U << 20U, 'x');
    EXPECT_FALSE(
        owner.start(R"({"classes": [{"name": "A", "properties": [{"name": "P", "type": "s"}]}],)"
                    R"("objects": [{"name": "a", "class": "A", "properties": {"P": ")" +
                    text + R"("}}]})"));
    EXPECT_EQ(owner.process().wait(), 1);
    EXPECT_NE(owner.process().errors().find(
                  "the pool has no room for property \"a.P\"; set SHAMRE_MEMORY_SIZE"),
              std::string::npos)
        << owner.process().errors();
    EXPECT_EQ(system_v_objects(), 0);
}

TEST(Owner, OfAnEmptyModelStarts) {
    HostOwner owner;
    EXPECT_TRUE(owner.start(R"({"classes": [], "objects": []})")) << owner.process().errors();
    EXPECT_EQ(owner.stop(), 0);
}

TEST(Owner, WithoutAProfileSaysWhatIsMissing) {
    HostOwner owner;
    ChildProcess& process = owner.run({MOXD_PATH});
    EXPECT_EQ(process.wait(), 1);
    EXPECT_EQ(process.errors(), "moxd: --profile FILE is missing; see moxd --help\n");
}

TEST(Owner, TellsItsVersion) {
    HostOwner owner;
    ChildProcess& process = owner.run({MOXD_PATH, "--version"});
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(process.output().rfind("moxd ", 0), 0U);
}

}  // namespace
}  // namespace mox::test
