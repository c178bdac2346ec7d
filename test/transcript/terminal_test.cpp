// What becomes of moxctl's output: colour on a terminal only, and writes that fail.
#include <glib.h>
#include <pty.h>

#include <cerrno>

#include "moxctl_run.hpp"

namespace mox::test {
namespace {

constexpr char escape = '\x1b';

// What moxctl list prints on a terminal. assignments: for its environment.
std::string printed_on_terminal(const HostOwner& owner,
                                const std::vector<std::string>& assignments) {
    std::vector<std::string> words{"/usr/bin/env", "-u", "NO_COLOR", "TERM=xterm"};
    words.insert(words.end(), assignments.begin(), assignments.end());
    const std::vector<std::string> command{MOXCTL_PATH, "--run-dir", owner.run_dir(), "list"};
    words.insert(words.end(), command.begin(), command.end());
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        alarm(20);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    std::string text;
    char part[4096];
    // A terminal whose other side has gone gives EIO.
    for (ssize_t size = 0; (size = read(terminal, part, sizeof part)) > 0;) {
        text.append(part, static_cast<std::size_t>(size));
    }
    close(terminal);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status << ": " << text;
    return text;
}

TEST(MoxctlColour, IsUsedOnATerminal) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const std::string text = printed_on_terminal(sensors.owner(), {});
    EXPECT_NE(text.find("\x1b[1mOBJECT\x1b[0m"), std::string::npos) << text;
    EXPECT_NE(text.find("Tank"), std::string::npos) << text;
}

TEST(MoxctlColour, IsNotUsedOnATerminalWithNoColor) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const std::string text = printed_on_terminal(sensors.owner(), {"NO_COLOR=1"});
    EXPECT_EQ(text.find(escape), std::string::npos) << text;
    EXPECT_NE(text.find("OBJECT"), std::string::npos) << text;
}

TEST(MoxctlColour, IsUsedWhenNoColorIsEmpty) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    EXPECT_NE(printed_on_terminal(sensors.owner(), {"NO_COLOR="}).find(escape), std::string::npos);
}

TEST(MoxctlColour, IsNotUsedOnADumbTerminal) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const std::string text = printed_on_terminal(sensors.owner(), {"TERM=dumb"});
    EXPECT_EQ(text.find(escape), std::string::npos) << text;
    EXPECT_NE(text.find("OBJECT"), std::string::npos) << text;
}

TEST(MoxctlColour, IsNotUsedInAPipe) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const RunResult result = run_command(
        sensors.owner(), {"/bin/sh", "-c", "TERM=xterm \"$0\" --run-dir \"$1\" list | cat",
                          MOXCTL_PATH, sensors.owner().run_dir()});
    EXPECT_EQ(result.output.find(escape), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("OBJECT"), std::string::npos) << result.output;
}

// Runs a shell line in which $0 is moxctl, that knows where the owner is.
RunResult run_shell(const HostOwner& owner, const std::string& line) {
    return run_command(owner, {"/usr/bin/env", "MOX_RUN_DIR=" + owner.run_dir(), "LC_ALL=C",
                               "/bin/bash", "-c", line, MOXCTL_PATH});
}

TEST(MoxctlOutput, ThatCannotBeWrittenIsAFailure) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const RunResult result = run_shell(sensors.owner(), "\"$0\" list > /dev/full");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors,
              "moxctl: cannot write to the standard output: No space left on device\n");
}

TEST(MoxctlOutput, ThatIsClosedFromTheStartIsAFailure) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const RunResult result = run_shell(sensors.owner(), "\"$0\" list >&-");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "moxctl: the standard output cannot be used: Bad file descriptor\n");
}

TEST(MoxctlOutput, ThatIsClosedFromTheStartLeavesWrongUsageWhatItIs) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const RunResult result = run_shell(sensors.owner(), "\"$0\" nope >&-");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "moxctl: there is no verb \"nope\"; see moxctl --help\n");
}

TEST(MoxctlOutput, WhoseReaderHasGoneEndsItQuietly) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    // The reader has gone before the first write: it reads nothing, and moxctl waits for its end.
    const RunResult result = run_shell(
        sensors.owner(), "exec 3> >(exec 0<&-); wait $!; \"$0\" list >&3; echo \"exit $?\"");
    EXPECT_EQ(result.output, "exit 0\n");
    EXPECT_EQ(result.errors, "");
}

TEST(MoxctlOutput, IsTakenByAReaderThatWantsOneLine) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const RunResult result =
        run_shell(sensors.owner(), "set -o pipefail; \"$0\" list | head -n 1; echo \"exit $?\"");
    EXPECT_EQ(result.output, "OBJECT         CLASS        POSITION  MODULE  BOARD\nexit 0\n");
    EXPECT_EQ(result.errors, "");
}

TEST(MoxctlOutput, IsWholeWithTheOtherDescriptorsClosed) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const RunResult result = run_shell(
        sensors.owner(),
        "\"$0\" get Tank Level <&- 2>&-; echo $?; \"$0\" get Tank Nope <&- 2>&-; echo $?");
    EXPECT_EQ(result.output, "12\n0\n1\n");
}

// Runs moxctl with the library's log at its most talkative, which is switched by process id: that
// of the shell before it.
RunResult run_talkative(const HostOwner& owner, const std::string& arguments) {
    const std::string line =
        "level=/tmp/dbglvl/moxctl-$$; mkdir -p $level; touch $level/5; exec \"$0\" " + arguments;
    ChildProcess process(
        {"/usr/bin/env", "MOX_RUN_DIR=" + owner.run_dir(), "/bin/bash", "-c", line, MOXCTL_PATH},
        owner.dir().path("run-out"), owner.dir().path("run-err"));
    const std::string level = "/tmp/dbglvl/moxctl-" + std::to_string(process.pid());
    const int status = process.wait();
    std::filesystem::remove_all(level);
    return {process.output(), process.errors(), status};
}

TEST(MoxctlLog, StaysOffTheOutput) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const RunResult result = run_talkative(sensors.owner(), "show Oven --json");
    EXPECT_EQ(result.output, run_moxctl(sensors.owner(), {"show", "Oven", "--json"}).output);
    EXPECT_EQ(result.errors, "");
}

TEST(MoxctlLog, IsOnTheErrorOutputWhenItIsAskedFor) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const RunResult result = run_talkative(sensors.owner(), "--log show Oven --json");
    EXPECT_EQ(result.output, run_moxctl(sensors.owner(), {"show", "Oven", "--json"}).output);
    EXPECT_NE(result.errors.find("[ moxctl-"), std::string::npos) << result.errors;
}

TEST(MoxctlMembership, EndsWithTheCommand) {
    SensorsOwner sensors;
    ASSERT_TRUE(sensors.start());
    const int before = system_v_objects();
    EXPECT_EQ(run_moxctl(sensors.owner(), {"list"}).status, 0);
    EXPECT_EQ(run_moxctl(sensors.owner(), {"get", "Tank", "Nope"}).status, 1);
    EXPECT_EQ(system_v_objects(), before);
}

}  // namespace
}  // namespace mox::test
