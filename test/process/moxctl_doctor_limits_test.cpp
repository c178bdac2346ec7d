// The doctor's checks of the System V limits: against the limits of this test's own namespace, and
// against files in their place.
#include <moxplat/osal.h>
#include <shmem.h>
#include <doctor_limits.hpp>

#include <cstdlib>
#include <filesystem>

#include "doctor_findings.hpp"

namespace mox::test {
namespace {

using ::testing::AllOf;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using tool::check_limits;
using tool::count_ipc_use;
using tool::Finding;
using tool::Verdict;
using tool::wanted_pool_bytes;

// The limits' files, all generous, but those that a test replaces.
class LimitFiles {
public:
    LimitFiles() {
        for (const char* const name :
             {"msgmax", "msgmnb", "msgmni", "shmmax", "shmall", "shmmni"}) {
            dir_.write(name, "1000000000\n");
        }
    }
    void write(const std::string& name, const std::string& text) const { dir_.write(name, text); }
    void remove(const std::string& name) const { std::filesystem::remove(dir_.path(name)); }
    // A setting that nobody may write, root included.
    void link_to_fixed(const std::string& name, const std::string& setting) const {
        remove(name);
        std::filesystem::create_symlink(std::string(kernel_settings) + "/" + setting,
                                        dir_.path(name));
    }
    std::string path() const { return dir_.path("").string(); }

private:
    TempDir dir_;
};

// The finding about one of this namespace's limits.
Finding limit(const std::string& name) {
    return finding_of(check_limits(kernel_settings, count_ipc_use(32 * mib, false)), name);
}

Finding limit_in(const LimitFiles& files, const std::string& name) {
    return finding_of(check_limits(files.path(), count_ipc_use(32 * mib, false)), name);
}

TEST(DoctorLimits, AreFineWhereEverythingIsLargeEnough) {
    for (const Finding& finding : check_limits(kernel_settings, count_ipc_use(32 * mib, false))) {
        EXPECT_EQ(finding.verdict, Verdict::ok) << finding.check << ": " << finding.found;
        EXPECT_THAT(finding.cure, IsEmpty()) << finding.check;
    }
}

TEST(DoctorLimits, WarnOfSmallMessagesThatAnOwnerOfThisUserRaises) {
    const Setting setting("msgmax", "8192");
    EXPECT_THAT(limit("msgmax"),
                AllOf(is(Verdict::warn, "kernel.msgmax is 8192, 8264 is needed"),
                      Field(&Finding::found, HasSubstr("this user starts raises it")),
                      cure("kernel.msgmax=8264 in /etc/sysctl.d/"),
                      command("sysctl -w kernel.msgmax=8264")));
}

TEST(DoctorLimits, WarnOfValuesThatAreNotAnnouncedWhereNobodyMayRaiseSmallMessages) {
    const LimitFiles files;
    files.link_to_fixed("msgmax", "ngroups_max");
    EXPECT_THAT(limit_in(files, "msgmax"), is(Verdict::ok, "kernel.msgmax is 65536"));
    files.link_to_fixed("msgmax", "cap_last_cap");
    EXPECT_THAT(limit_in(files, "msgmax"),
                AllOf(is(Verdict::warn, "values longer than 0 bytes are not announced"),
                      Field(&Finding::found, Not(HasSubstr("raises it"))),
                      command("sysctl -w kernel.msgmax=8264")));
}

TEST(DoctorLimits, TellTheLargestValueThatIsAnnounced) {
    const Setting setting("msgmax", "8192");
    EXPECT_THAT(limit("msgmax"), is(Verdict::warn, "values longer than 8044 bytes"));
}

TEST(DoctorLimits, WarnOfASmallQueueThatHoldsOneLargeMessage) {
    const LimitFiles files;
    files.link_to_fixed("msgmnb", "ngroups_max");
    EXPECT_THAT(limit_in(files, "msgmnb"),
                AllOf(is(Verdict::warn, "262144 is needed: a queue is full early"),
                      command("sysctl -w kernel.msgmnb=262144")));
}

TEST(DoctorLimits, FailOfAQueueThatHoldsNoLargeMessage) {
    const LimitFiles files;
    files.link_to_fixed("msgmnb", "cap_last_cap");
    EXPECT_THAT(limit_in(files, "msgmnb"), is(Verdict::fail, "a queue is full early"));
}

TEST(DoctorLimits, FailWhenNoTwoQueuesCanBeMade) {
    const Setting setting("msgmni", "1");
    EXPECT_THAT(limit("msgmni"),
                AllOf(is(Verdict::fail, "room for 1"), command("sysctl -w kernel.msgmni=128")));
}

TEST(DoctorLimits, WarnWhenNotAllModulesGetAQueue) {
    const Setting setting("msgmni", "100");
    EXPECT_THAT(limit("msgmni"), is(Verdict::warn, "room for 100, 128 are needed"));
}

TEST(DoctorLimits, CountTheQueuesThatAreThere) {
    const Setting setting("msgmni", "3");
    Neighbour owner([] {
        gint32 queue = 0;
        if (osal_process_queue_create(&queue) != OSAL_OK) _exit(1);
        if (osal_process_queue_create(&queue) != OSAL_OK) _exit(1);
    });
    EXPECT_THAT(limit("msgmni"), is(Verdict::fail, "that are there: 2: room for 1"));
    const Setting larger("msgmni", "300");
    EXPECT_EQ(limit("msgmni").verdict, Verdict::ok);
    owner.end();
    EXPECT_EQ(osal_process_remove_stale(nullptr), OSAL_OK);
}

TEST(DoctorLimits, FailWhenASegmentMayNotHaveThePoolsSize) {
    const Setting setting("shmmax", "8388608");
    EXPECT_THAT(limit("shmmax"),
                AllOf(is(Verdict::fail, "it cannot be made"),
                      command("sysctl -w kernel.shmmax=33554432"), cure("SHAMRE_MEMORY_SIZE=8")));
    EXPECT_EQ(
        finding_of(check_limits(kernel_settings, count_ipc_use(8 * mib, false)), "shmmax").verdict,
        Verdict::ok);
}

TEST(DoctorLimits, FailWhenAllSegmentsTogetherMayNotHoldThePool) {
    const Setting setting("shmall", "2048");
    EXPECT_THAT(limit("shmall"),
                AllOf(is(Verdict::fail, "the pool cannot be made"),
                      Field(&Finding::command, HasSubstr("sysctl -w kernel.shmall="))));
}

TEST(DoctorLimits, FailWhenThereMayBeOneSegmentOnly) {
    const Setting setting("shmmni", "1");
    EXPECT_THAT(limit("shmmni"), is(Verdict::fail, "room for 1, 2 are needed"));
}

TEST(DoctorLimits, AskNoRoomForAPoolThatIsThere) {
    const Setting pages("shmall", "1");
    const Setting segments("shmmni", "1");
    const std::vector<Finding> findings =
        check_limits(kernel_settings, count_ipc_use(32 * mib, true));
    EXPECT_EQ(finding_of(findings, "shmall").verdict, Verdict::ok);
    EXPECT_EQ(finding_of(findings, "shmmni").verdict, Verdict::ok);
}

TEST(DoctorLimits, FailWhenALimitCannotBeRead) {
    const LimitFiles files;
    files.remove("shmmax");
    files.write("shmall", "plenty\n");
    EXPECT_THAT(limit_in(files, "shmmax"),
                AllOf(is(Verdict::fail, "cannot be read"), cure("mount")));
    EXPECT_THAT(limit_in(files, "shmall"), is(Verdict::fail, "holds no number"));
}

TEST(DoctorPoolSize, IsWhatTheEnvironmentAsksForAndElseTheLargest) {
    unsetenv(SHM_SIZE_VARIABLE);
    EXPECT_EQ(wanted_pool_bytes(), 32 * mib);
    setenv(SHM_SIZE_VARIABLE, "8", 1);
    EXPECT_EQ(wanted_pool_bytes(), 8 * mib);
    setenv(SHM_SIZE_VARIABLE, "7", 1);
    EXPECT_EQ(wanted_pool_bytes(), 32 * mib);
    unsetenv(SHM_SIZE_VARIABLE);
}

}  // namespace
}  // namespace mox::test
