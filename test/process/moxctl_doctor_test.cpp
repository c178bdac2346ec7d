// Each check of the machine against a machine that is as it should be and, in this test's own
// System V namespace and directories, against one that is not.
#include <fcntl.h>
#include <moxplat/osal.h>
#include <shmem.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <doctor.hpp>
#include <doctor_address.hpp>
#include <doctor_answer.hpp>
#include <doctor_directories.hpp>
#include <doctor_locks.hpp>
#include <doctor_owner.hpp>

#include <cstdlib>
#include <filesystem>

#include "doctor_findings.hpp"

namespace mox::test {
namespace {

using ::testing::AllOf;
using ::testing::Field;
using ::testing::HasSubstr;
using tool::check_address;
using tool::check_leftovers;
using tool::check_locks;
using tool::check_run_directory;
using tool::check_state_directory;
using tool::find_owner;
using tool::find_segment;
using tool::Finding;
using tool::FoundOwner;
using tool::FoundSegment;
using tool::judge_owner;
using tool::judge_refused_address;
using tool::judge_segment;
using tool::judge_take_after_death;
using tool::take_after_death;
using tool::Verdict;

int make_pool() {
    return shmget(SHM_POOL_KEY, 8 * mib, IPC_CREAT | IPC_EXCL | 0600);
}

TEST(DoctorAddress, IsFreeInAProcessThatHasJustStarted) {
    EXPECT_THAT(check_address(32 * mib), is(Verdict::ok, "0x90000000 to 0x92000000 can be mapped"));
    EXPECT_EQ(system_v_objects(), 0) << "the trial left something behind";
}

TEST(DoctorAddress, IsTakenByAFileThatIsMappedThereAndIsNamed) {
    const int file = memfd_create("in_the_way", MFD_CLOEXEC);
    ASSERT_EQ(ftruncate(file, 4096), 0);
    void* const place = reinterpret_cast<void*>(std::uintptr_t{SHM_POOL_ADDRESS} + 16 * mib);
    ASSERT_EQ(mmap(place, 4096, PROT_READ, MAP_SHARED | MAP_FIXED_NOREPLACE, file, 0), place);
    EXPECT_THAT(check_address(32 * mib),
                AllOf(is(Verdict::fail, "in_the_way"),
                      Field(&Finding::found, HasSubstr("at 0x91000000 to 0x91001000")),
                      cure("LD_PRELOAD")));
    EXPECT_EQ(munmap(place, 4096), 0);
    close(file);
    EXPECT_EQ(system_v_objects(), 0);
}

TEST(DoctorAddress, CannotBeTriedWhereNoSegmentCanBeMade) {
    const Setting setting("shmmax", "4096");
    EXPECT_THAT(check_address(32 * mib),
                is(Verdict::fail, "a segment of 33554432 bytes cannot be"));
}

TEST(DoctorAddress, IsOutOfReachOnAKernelThatEndsUserSpaceBelowIt) {
    const std::string maps =
        "00010000-00012000 r-xp 00000000 b3:02 1234       /usr/bin/moxctl\n"
        "76e00000-76f20000 r-xp 00000000 b3:02 1235       /lib/libc.so.6\n"
        "7eb5c000-7eb7d000 rw-p 00000000 00:00 0          [stack]\n"
        "7ebb8000-7ebb9000 r-xp 00000000 00:00 0          [sigpage]\n";
    EXPECT_THAT(judge_refused_address(EINVAL, maps, 32 * mib),
                AllOf(is(Verdict::fail, "user space ends at 0x7ebb9000"),
                      Field(&Finding::found, HasSubstr("2G/2G")),
                      command("zgrep VMSPLIT_3G= /proc/config.gz")));
}

TEST(DoctorAddress, IsRefusedForTheSystemsOwnCauseElse) {
    const std::string maps = "bef5c000-bef7d000 rw-p 00000000 00:00 0          [stack]\n";
    EXPECT_THAT(judge_refused_address(ENOMEM, maps, 32 * mib),
                is(Verdict::fail, "cannot be mapped: Cannot allocate memory"));
    EXPECT_THAT(judge_refused_address(EINVAL, "", 32 * mib), is(Verdict::fail, "Invalid argument"));
}

TEST(DoctorLocks, AreHandedOnWhenTheirHolderDies) {
    EXPECT_EQ(take_after_death(PTHREAD_MUTEX_ROBUST), EOWNERDEAD);
    EXPECT_EQ(check_locks().verdict, Verdict::ok);
}

TEST(DoctorLocks, FailWhereADeadHolderKeepsThem) {
    const int result = take_after_death(PTHREAD_MUTEX_STALLED);
    EXPECT_EQ(result, EBUSY);
    EXPECT_THAT(
        judge_take_after_death(result),
        AllOf(is(Verdict::fail, "waits for ever"), command("zgrep CONFIG_FUTEX= /proc/config.gz")));
}

TEST(DoctorLocks, FailWhereNobodyIsToldOfTheDeath) {
    EXPECT_THAT(judge_take_after_death(0), is(Verdict::fail, "nobody is told"));
    EXPECT_THAT(judge_take_after_death(ENOTSUP), is(Verdict::fail, "do not work"));
}

TEST(DoctorSegment, IsFineWhenThereIsNone) {
    EXPECT_THAT(judge_segment(find_segment(), {}), is(Verdict::ok, "no pool is there"));
}

TEST(DoctorSegment, OfADeadOwnerIsLeftBehind) {
    const int id = make_pool();
    ASSERT_GE(id, 0);
    // Made by this process, which does not have it mapped: the maker's number went to another one.
    EXPECT_FALSE(find_segment().creator_is_alive);
    ASSERT_EQ(shmctl(id, IPC_RMID, nullptr), 0);

    Neighbour owner([] {
        if (shmat(make_pool(), nullptr, 0) == nullptr) _exit(1);
    });
    EXPECT_TRUE(find_segment().creator_is_alive);
    const std::string pid = std::to_string(owner.pid());
    owner.end();
    const FoundSegment segment = find_segment();
    EXPECT_THAT(judge_segment(segment, {}),
                AllOf(is(Verdict::warn, "was left by the dead process " + pid),
                      command("ipcrm -m " + std::to_string(segment.id))));
    ASSERT_EQ(shmctl(segment.id, IPC_RMID, nullptr), 0);
}

TEST(DoctorSegment, OfAnOwnerThatDiedAndWasNotWaitedForIsLeftBehind) {
    const Neighbour owner([] {
        if (shmat(make_pool(), nullptr, 0) == nullptr) _exit(1);
    });
    ASSERT_TRUE(find_segment().creator_is_alive);
    kill(owner.pid(), SIGKILL);
    ASSERT_TRUE(eventually([&] { return tool::state_of_process(owner.pid()) == 'Z'; }));
    const FoundSegment segment = find_segment();
    EXPECT_FALSE(segment.creator_is_alive);
    EXPECT_THAT(judge_segment(segment, {}), is(Verdict::warn, "was left by the dead process"));
    ASSERT_EQ(shmctl(segment.id, IPC_RMID, nullptr), 0);
}

TEST(DoctorSegment, OfAnotherPidNamespaceIsNotToBeRemoved) {
    FoundSegment segment;
    segment.exists = true;
    segment.id = 7;
    segment.attached = 1;
    segment.is_removable = true;
    EXPECT_THAT(judge_segment(segment, {}), AllOf(is(Verdict::fail, "another PID namespace"),
                                                  cure("leave it alone"), command("")));
    EXPECT_THAT(judge_segment(segment, {true, 0, 0, false, false}),
                is(Verdict::ok, "is the owner's"));
}

TEST(DoctorSegment, OfAnotherUsersDeadOwnerFails) {
    FoundSegment segment;
    segment.exists = true;
    segment.id = 7;
    segment.creator = 4711;
    EXPECT_THAT(judge_segment(segment, {}), AllOf(is(Verdict::fail, "it is another user's"),
                                                  cure("as root"), command("ipcrm -m 7")));
}

TEST(DoctorSegment, OfALivingOwnerThatDoesNotAnswerFails) {
    const Neighbour owner([] {
        if (shmat(make_pool(), nullptr, 0) == nullptr) _exit(1);
    });
    const FoundSegment segment = find_segment();
    const std::string pid = std::to_string(owner.pid());
    EXPECT_THAT(judge_segment(segment, {}),
                AllOf(is(Verdict::fail, "belongs to process " + pid), command("kill " + pid)));
    EXPECT_THAT(judge_segment(segment, {true, owner.pid(), 0, false, false}),
                is(Verdict::ok, "is the owner's; processes that have it mapped: 1"));
    EXPECT_EQ(judge_segment(segment, {true, owner.pid() + 1, 0, false, false}).verdict,
              Verdict::fail);
    ASSERT_EQ(shmctl(segment.id, IPC_RMID, nullptr), 0);
}

TEST(DoctorOwner, IsWhoListensAtTheSocket) {
    const TempDir dir;
    const std::string path = dir.path("").parent_path().string();
    EXPECT_FALSE(find_owner(path, 100).listens);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    (path + "/moxd.sock").copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_FALSE(find_owner(path, 100).listens) << "a socket at which nobody listens is no owner";
    ASSERT_EQ(listen(listener, 1), 0);
    const FoundOwner silent = find_owner(path, 100);
    EXPECT_TRUE(silent.listens);
    EXPECT_EQ(silent.pid, getpid());
    EXPECT_TRUE(silent.is_silent) << "nobody has answered";
    EXPECT_THAT(judge_owner(silent, path),
                AllOf(is(Verdict::fail, "but does not answer"), command("moxctl locks")));
    // One waits already, and there is no room for more.
    EXPECT_TRUE(find_owner(path, 100).is_silent);
    EXPECT_TRUE(find_owner(path, 100).is_silent);
    EXPECT_TRUE(find_owner(path, 100).listens);
    close(listener);
}

TEST(DoctorOwner, IsToldWithItsUserAndItsNamespace) {
    FoundOwner owner{true, 12, geteuid(), false, false};
    EXPECT_THAT(judge_owner(owner, "/run/x"), is(Verdict::ok, "runs as process 12 at /run/x"));
    owner.user += 1;
    EXPECT_THAT(judge_owner(owner, "/run/x"), is(Verdict::ok, "process 12, of user"));
    owner.pid = 0;
    EXPECT_THAT(judge_owner(owner, "/run/x"), is(Verdict::ok, "of another PID namespace"));
    EXPECT_THAT(judge_owner({}, "/run/x"), is(Verdict::ok, "none runs at /run/x"));
}

TEST(DoctorOwner, ThatIsStoppedFailsAndIsToBeContinued) {
    HostOwner owner;
    ASSERT_TRUE(owner.start()) << owner.process().errors();
    const std::string pid = std::to_string(owner.process().pid());
    EXPECT_THAT(judge_owner(find_owner(owner.run_dir(), 20000), owner.run_dir()),
                is(Verdict::ok, "runs as process " + pid));
    owner.process().signal(SIGSTOP);
    ASSERT_TRUE(eventually([&] { return tool::state_of_process(owner.process().pid()) == 'T'; }));
    EXPECT_THAT(judge_owner(find_owner(owner.run_dir(), 200), owner.run_dir()),
                AllOf(is(Verdict::fail, "process " + pid), is(Verdict::fail, "is stopped"),
                      command("kill -CONT " + pid)));
    owner.process().signal(SIGCONT);
    EXPECT_FALSE(find_owner(owner.run_dir(), 20000).is_silent);
    EXPECT_EQ(owner.stop(), 0);
}

TEST(DoctorLeftovers, AreNoneAtFirst) {
    EXPECT_THAT(check_leftovers(), is(Verdict::ok, "no locks or queues"));
}

TEST(DoctorLeftovers, OfADeadOwnerAreCountedAndStay) {
    Neighbour owner([] {
        gint32 queue = 0;
        gint32 index = 0;
        gint32 set = 0;
        gint32 member = 0;
        osal_process_sem_create(&index, &set, &member);
        if (osal_process_queue_create(&queue) != OSAL_OK) _exit(1);
    });
    EXPECT_EQ(check_leftovers().verdict, Verdict::ok) << "a living owner's are none";
    owner.end();
    EXPECT_THAT(check_leftovers(),
                AllOf(is(Verdict::warn, "that dead owners left: 2"), cure("start moxd")));
    EXPECT_EQ(check_leftovers().verdict, Verdict::warn);
    EXPECT_EQ(osal_process_remove_stale(nullptr), OSAL_OK);
    EXPECT_EQ(check_leftovers().verdict, Verdict::ok);
}

// One that is not this test's: its own, given away, or where nobody can be given anything, the
// root directory, which belongs to an unknown user there.
std::string other_users_directory(const TempDir& dir) {
    const std::string path = dir.path("other").string();
    std::filesystem::create_directory(path);
    return chown(path.c_str(), 12345, 12345) == 0 ? path : "/";
}

TEST(DoctorRunDirectory, IsFineWhenItIsThisUsersOrCanBeMade) {
    const TempDir dir;
    EXPECT_THAT(check_run_directory(dir.path("").parent_path()), is(Verdict::ok, "is this user's"));
    EXPECT_THAT(check_run_directory(dir.path("run")), is(Verdict::ok, "moxd makes it"));
    EXPECT_FALSE(std::filesystem::exists(dir.path("run"))) << "it only looks";
}

TEST(DoctorRunDirectory, FailsWhenItsParentIsMissing) {
    const TempDir dir;
    EXPECT_THAT(check_run_directory(dir.path("a/run")),
                AllOf(is(Verdict::fail, "cannot be made"),
                      command("install -d -m 700 -o " + std::to_string(geteuid()) + " -- '" +
                              dir.path("a/run").string() + "'")));
}

TEST(DoctorRunDirectory, FailsWhereNothingCanBeMade) {
    EXPECT_THAT(check_run_directory("/proc/sys/kernel/moxd"), is(Verdict::fail, "cannot be made"));
}

TEST(DoctorRunDirectory, FailsWhenItIsAFileOrALink) {
    const TempDir dir;
    const std::string file = dir.write("file", "");
    EXPECT_THAT(check_run_directory(file),
                AllOf(is(Verdict::fail, "is not a directory"), command("rm -- '" + file + "'")));
    std::filesystem::create_symlink("/tmp", dir.path("link"));
    EXPECT_THAT(check_run_directory(dir.path("link")), is(Verdict::fail, "is not a directory"));
}

TEST(DoctorRunDirectory, FailsWhenOthersMayWriteInIt) {
    const TempDir dir;
    const std::string path = dir.path("").parent_path();
    ASSERT_EQ(chmod(path.c_str(), 0770), 0);
    EXPECT_THAT(check_run_directory(path), AllOf(is(Verdict::fail, "writable by others"),
                                                 command("chmod -- 700 '" + path + "'")));
}

TEST(DoctorRunDirectory, FailsWhenItIsAnotherUsers) {
    const TempDir dir;
    EXPECT_THAT(check_run_directory(other_users_directory(dir)),
                AllOf(is(Verdict::fail, "belongs to user"),
                      Field(&Finding::command, HasSubstr("chown -- "))));
}

TEST(DoctorRunDirectory, FailsWhenItsPathIsTooLongForASocket) {
    EXPECT_THAT(check_run_directory("/tmp/" + std::string(120, 'x')),
                AllOf(is(Verdict::fail, "too long"), cure("shorter")));
}

TEST(DoctorStateDirectory, IsFineWhenItCanBeWrittenOrMade) {
    const TempDir dir;
    EXPECT_THAT(check_state_directory(dir.path("").parent_path()),
                is(Verdict::ok, "can be written"));
    EXPECT_THAT(check_state_directory(dir.path("a/b/state")), is(Verdict::ok, "moxd makes it"));
    EXPECT_FALSE(std::filesystem::exists(dir.path("a")));
}

TEST(DoctorStateDirectory, CannotBeMadeInAFileSystemOfTheKernelsOwn) {
    for (const char* const path : {"/proc/moxd", "/sys/moxd/state"}) {
        EXPECT_THAT(check_state_directory(path), is(Verdict::warn, "cannot be made")) << path;
    }
}

TEST(DoctorStateDirectory, IsQuotedForTheShellInTheCure) {
    const TempDir dir;
    const std::string file = dir.write("it's a file; true", "");
    EXPECT_THAT(check_state_directory(file),
                command("rm -- '" + dir.path("it").string() + "'\\''s a file; true'"));
}

TEST(DoctorStateDirectory, WarnsThatNothingIsSavedWhenItCannotBeUsed) {
    const TempDir dir;
    const std::string file = dir.write("file", "");
    for (const std::string& path : {file, file + "/state", std::string("/proc/sys/kernel/state"),
                                    std::string(kernel_settings)}) {
        const Finding finding = check_state_directory(path);
        EXPECT_THAT(finding, is(Verdict::warn, "nothing lasting is saved")) << path;
        EXPECT_FALSE(finding.cure.empty()) << path;
    }
}

TEST(DoctorExamination, LooksAtEverythingOnce) {
    const TempDir dir;
    const std::vector<Finding> findings =
        tool::examine(dir.path("run"), dir.path("state"), kernel_settings);
    std::vector<std::string> checks;
    for (const Finding& finding : findings) {
        checks.push_back(finding.check);
        EXPECT_EQ(finding.verdict, Verdict::ok) << finding.check << ": " << finding.found;
    }
    EXPECT_THAT(checks, ::testing::ElementsAre("owner", "address", "msgmax", "msgmnb", "msgmni",
                                               "shmmax", "shmall", "shmmni", "locks", "segment",
                                               "leftovers", "run-dir", "state-dir"));
}

}  // namespace
}  // namespace mox::test
