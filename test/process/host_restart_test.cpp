// A module program that is executed anew when its owner went and another one came.
#include <algorithm>

#include "host_module.hpp"

namespace mox::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds time_to_be_back{1};

class RestartWithOwner : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(owner_.start()) << owner_.process().errors(); }

    std::string report_path() const { return owner_.dir().path("report"); }
    std::string report() const { return content_of(report_path()); }
    bool has_reported(const std::string& part) const {
        return report().find(part) != std::string::npos;
    }
    // The rest of the line that begins so.
    std::string reported(const std::string& beginning) const {
        const std::string all = "\n" + report();
        const std::size_t at = all.find("\n" + beginning);
        if (at == std::string::npos) {
            return "nothing in: " + all;
        }
        const std::size_t begin = at + 1 + beginning.size();
        return all.substr(begin, all.find('\n', begin) - begin);
    }

    // The command of the module; it may be put behind others.
    std::vector<std::string> command(const std::string& mode,
                                     const std::string& program = RESTART_PEER_PATH) const {
        return {program, owner_.run_dir(), report_path(), mode};
    }
    void start_peer(const std::vector<std::string>& words) {
        peer_ = std::make_unique<ChildProcess>(words, owner_.dir().path("peer.out"),
                                               owner_.dir().path("peer.err"));
    }
    // A module in its first life.
    void start_joined(const std::vector<std::string>& words) {
        start_peer(words);
        ASSERT_TRUE(eventually([this] { return has_reported("joined 0: "); }))
            << report() << peer_->errors();
    }

    // Starts the next owner; whether the module is back in time, in its life of that number.
    void start_owner_and_expect(int life) {
        ASSERT_TRUE(owner_.start()) << owner_.process().errors();
        const auto ready = Clock::now();
        const std::string line = "joined " + std::to_string(life) + ": ";
        ASSERT_TRUE(eventually([&] { return has_reported(line); })) << report() << peer_->errors();
        EXPECT_LT(Clock::now() - ready, time_to_be_back);
    }

    HostOwner owner_;
    std::unique_ptr<ChildProcess> peer_;
};

TEST_F(RestartWithOwner, BringsTheModuleToTheNewPoolAfterAKill) {
    start_joined(command("stay"));
    owner_.process().end(SIGKILL);
    owner_.set_level(77);
    start_owner_and_expect(1);
    EXPECT_EQ(reported("joined 1: "), "process " + std::to_string(peer_->pid()) + ", level 77");
    EXPECT_EQ(peer_->end(SIGTERM), 0) << peer_->errors();
}

TEST_F(RestartWithOwner, BringsTheModuleToTheNewPoolAfterAStopAndAStart) {
    start_joined(command("stay"));
    EXPECT_EQ(owner_.stop(), 0);
    owner_.set_level(78);
    start_owner_and_expect(1);
    EXPECT_EQ(reported("joined 1: "), "process " + std::to_string(peer_->pid()) + ", level 78");
}

TEST_F(RestartWithOwner, BringsTheModuleBackAfterEachOfManyOwnersThatDieSoon) {
    start_joined(command("stay"));
    for (int life = 1; life <= 6; ++life) {
        owner_.process().end(SIGKILL);
        ASSERT_NO_FATAL_FAILURE(start_owner_and_expect(life));
    }
}

TEST_F(RestartWithOwner, TellsTheLossThenAsksForWhatIsKept) {
    start_joined(command("stay"));
    owner_.process().end(SIGKILL);
    ASSERT_TRUE(eventually([this] { return has_reported("lost"); }));
    EXPECT_FALSE(has_reported("about to restart"));
    start_owner_and_expect(1);
    EXPECT_LT(report().find("lost"), report().find("about to restart"));
    EXPECT_LT(report().find("about to restart"), report().find("arguments 1:"));
}

TEST_F(RestartWithOwner, KeepsArgumentsAndEnvironment) {
    std::vector<std::string> words = {"/usr/bin/env", "MOX_TEST_GIVEN=a b"};
    for (const std::string& word : command("stay")) {
        words.push_back(word);
    }
    words.insert(words.end(), {"two words", "", "--last"});
    start_joined(words);
    EXPECT_EQ(reported("arguments 0:"), " [two words] [] [--last]");
    owner_.process().end(SIGKILL);
    start_owner_and_expect(1);
    EXPECT_EQ(reported("arguments 1:"), " [two words] [] [--last]");
    EXPECT_EQ(reported("environment 0: "), "a b none none");
    EXPECT_EQ(reported("environment 1: "), "a b kept none");
}

TEST_F(RestartWithOwner, FindsARunDirectoryThatWasGivenRelative) {
    const std::string directory = owner_.dir().path("").string();
    start_joined({"/bin/sh", "-c", R"(cd "$1" && exec "$2" run report stay)", "sh", directory,
                  RESTART_PEER_PATH});
    owner_.process().end(SIGKILL);
    start_owner_and_expect(1);
    EXPECT_EQ(reported("directory 1: "), reported("directory 0: "));
    EXPECT_NE(reported("directory 1: "), "/");
}

TEST_F(RestartWithOwner, GivesBackTheSignalsOfTheStart) {
    start_joined(command("stay"));
    owner_.process().end(SIGKILL);
    start_owner_and_expect(1);
    EXPECT_EQ(reported("signals 0: "), "open default default");
    EXPECT_EQ(reported("signals 1: "), "open default default");
}

TEST_F(RestartWithOwner, KeepsIgnoringWhatItWasStartedToIgnore) {
    std::vector<std::string> words = {"/bin/sh", "-c", R"(trap "" USR2 PIPE; exec "$@")", "sh"};
    for (const std::string& word : command("stay")) {
        words.push_back(word);
    }
    start_joined(words);
    owner_.process().end(SIGKILL);
    start_owner_and_expect(1);
    EXPECT_EQ(reported("signals 1: "), "open ignored ignored");
}

TEST_F(RestartWithOwner, LeavesNoDescriptorOpen) {
    start_joined(command("stay"));
    for (int life = 1; life <= 2; ++life) {
        owner_.process().end(SIGKILL);
        ASSERT_NO_FATAL_FAILURE(start_owner_and_expect(life));
    }
    EXPECT_EQ(reported("descriptors 2: "), reported("descriptors 0: "));
}

TEST_F(RestartWithOwner, HappensInANestedLoop) {
    start_joined(command("nested"));
    owner_.process().end(SIGKILL);
    start_owner_and_expect(1);
}

TEST_F(RestartWithOwner, DoesNotHappenOnceTheModuleHasLeft) {
    start_joined(command("leave"));
    owner_.process().end(SIGKILL);
    ASSERT_TRUE(eventually([this] { return has_reported("lost"); }));
    ASSERT_TRUE(owner_.start());
    EXPECT_EQ(peer_->wait(), 0) << peer_->errors();
    EXPECT_FALSE(has_reported("about to restart"));
    EXPECT_FALSE(has_reported("arguments 1:"));
}

TEST_F(RestartWithOwner, ExecutesTheFileThatReplacedTheProgram) {
    const std::filesystem::path program = owner_.dir().path("module");
    std::filesystem::copy_file(RESTART_PEER_PATH, program);
    start_joined(command("stay", program));
    const std::filesystem::path newer =
        owner_.dir().write("newer", "#!/bin/sh\necho \"newer one: $1 $3\" >>\"$2\"\n");
    std::filesystem::permissions(newer, std::filesystem::perms::owner_all);
    std::filesystem::rename(newer, program);
    owner_.process().end(SIGKILL);
    ASSERT_TRUE(owner_.start());
    EXPECT_EQ(peer_->wait(), 0) << peer_->errors();
    EXPECT_EQ(reported("newer one: "), owner_.run_dir() + " stay");
}

TEST_F(RestartWithOwner, TellsTheModuleWhenTheProgramCannotBeExecuted) {
    const std::filesystem::path program = owner_.dir().path("module");
    std::filesystem::copy_file(RESTART_PEER_PATH, program);
    start_joined(command("stay", program));
    std::filesystem::remove(program);
    owner_.process().end(SIGKILL);
    ASSERT_TRUE(owner_.start());
    EXPECT_EQ(peer_->wait(), 3) << report() << peer_->errors();
    EXPECT_EQ(reported("not restarted: "),
              program.string() +
                  " cannot be executed: No such file or directory; end this program "
                  "and have it started again");
    EXPECT_EQ(reported("directory afterwards: "), "/");
}

// In a process that was executed anew; the variable says so as the library does.
TEST_F(RestartWithOwner, HasTheNextJoinWaitForAnOwnerThatDiedAgain) {
    owner_.process().end(SIGKILL);
    std::vector<std::string> words = {"/usr/bin/env", "MOX_RESTARTS=4:1"};
    for (const std::string& word : command("stay")) {
        words.push_back(word);
    }
    start_peer(words);
    ASSERT_TRUE(eventually([this] { return has_reported("descriptors 4: "); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_FALSE(has_reported("not joined"));
    start_owner_and_expect(4);
}

TEST_F(RestartWithOwner, DoesNotMakeAFirstJoinWait) {
    owner_.process().end(SIGKILL);
    start_peer(command("stay"));
    EXPECT_EQ(peer_->wait(), 1);
    EXPECT_TRUE(has_reported("not joined: no owner at " + owner_.run_dir())) << report();
}

}  // namespace
}  // namespace mox::test
