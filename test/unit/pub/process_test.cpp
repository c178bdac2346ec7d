// Questions about the environment, paths and processes.
#include <gtest/gtest.h>
#include <pub.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace {

// An environment variable for the length of a test.
class Variable {
public:
    explicit Variable(const char* value) { setenv(name(), value, 1); }
    ~Variable() { unsetenv(name()); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    static const char* name() { return "MOX_TEST_NUMBER"; }
};

TEST(EnvironmentNumber, IsTheVariablesDecimalValue) {
    const Variable variable("42");
    EXPECT_EQ(pub_get_env_value(Variable::name()), 42);
}

TEST(EnvironmentNumber, MayBeNegative) {
    const Variable variable("-7");
    EXPECT_EQ(pub_get_env_value(Variable::name()), -7);
}

TEST(EnvironmentNumber, IsDecimalEvenWithALeadingZeroOrX) {
    const Variable variable("010");
    EXPECT_EQ(pub_get_env_value(Variable::name()), 10);
    setenv(Variable::name(), "0x10", 1);
    EXPECT_EQ(pub_get_env_value(Variable::name()), 0);
}

TEST(EnvironmentNumber, EndsAtTheFirstOtherCharacter) {
    const Variable variable("12MiB");
    EXPECT_EQ(pub_get_env_value(Variable::name()), 12);
}

TEST(EnvironmentNumber, IsZeroForTextThatIsNone) {
    const Variable variable("abc");
    EXPECT_EQ(pub_get_env_value(Variable::name()), 0);
    setenv(Variable::name(), "", 1);
    EXPECT_EQ(pub_get_env_value(Variable::name()), 0);
}

TEST(EnvironmentNumber, IsMinusOneForAVariableThatIsNotSet) {
    EXPECT_EQ(pub_get_env_value("MOX_TEST_NEVER_SET"), -1);
    EXPECT_EQ(pub_get_env_value(nullptr), -1);
}

TEST(FileName, IsThePartBehindTheLastSlash) {
    EXPECT_STREQ(pub_get_file_name("a/b/c"), "c");
    EXPECT_STREQ(pub_get_file_name("/x"), "x");
}

TEST(FileName, IsNilForAPathWithoutASlash) {
    EXPECT_STREQ(pub_get_file_name("c"), "nil");
    EXPECT_STREQ(pub_get_file_name(""), "nil");
    EXPECT_STREQ(pub_get_file_name(nullptr), "nil");
}

TEST(FileName, IsEmptyForAPathThatEndsWithASlash) {
    EXPECT_STREQ(pub_get_file_name("a/"), "");
}

TEST(FileName, PointsIntoThePath) {
    const char path[] = "dir/name";
    EXPECT_EQ(pub_get_file_name(path), path + 4);
}

TEST(ProcessProbe, FindsThisProcess) {
    EXPECT_EQ(pub_is_process_exist(getpid()), TRUE);
}

TEST(ProcessProbe, DoesNotFindAProcessThatIsGone) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(0);
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_EQ(pub_is_process_exist(child), FALSE);
}

TEST(ProcessProbe, SendsNoSignal) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        sleep(60);
        _exit(0);
    }
    EXPECT_EQ(pub_is_process_exist(child), TRUE);
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// The probe is a signal, so a process of another user answers as if it were not there. Without the
// right to become another user, the first process of the machine is that process.
TEST(ProcessProbe, DoesNotFindAProcessThatMayNotBeSignalled) {
    const pid_t parent = getpid();
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const pid_t other = setresuid(65534, 65534, 65534) == 0 ? parent : 1;
        _exit(pub_is_process_exist(other) == FALSE ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

}  // namespace
