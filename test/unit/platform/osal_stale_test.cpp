// What dead owners leave behind is found and removed; what live ones use is not.
#include <gtest/gtest.h>
#include <moxplat/osal.h>

#include <cstring>

#include "captured_log.hpp"
#include "child_process.hpp"
#include "system_v.hpp"

namespace {

using mox::test::ChildProcess;
using mox::test::Parent;
using mox::test::queue_count;
using mox::test::set_count;

// What an owner in another process made.
struct Made {
    gint32 semid = -1;
    gint32 member = -1;
    gint32 queue = -1;
    gint32 further_queue = -1;
};

Made make_everything() {
    Made made;
    gint32 index = -1;
    osal_process_sem_create(&index, &made.semid, &made.member);
    osal_process_queue_create(&made.queue);
    osal_process_queue_create(&made.further_queue);
    return made;
}

// The role of an owner that lives until it is killed or gets a word; then it ends without cleaning
// up.
int own_everything(const Parent& parent) {
    parent.tell(make_everything());
    parent.wait_for_word();
    return 0;
}

gint32 remove_stale() {
    gint32 removed = -1;
    EXPECT_EQ(osal_process_remove_stale(&removed), OSAL_OK);
    return removed;
}

// A set of this layer that the test may change from outside.
class AttachedSet {
public:
    explicit AttachedSet(gint32 semid)
        : set_{static_cast<mox::osal::SemSet*>(shmat(semid, nullptr, 0))} {}
    ~AttachedSet() { shmdt(set_); }
    AttachedSet(const AttachedSet&) = delete;
    AttachedSet& operator=(const AttachedSet&) = delete;
    mox::osal::SetHead& head() { return set_->head; }

private:
    mox::osal::SemSet* set_;
};

TEST(StaleRemoval, FindsNothingInACleanSystem) {
    EXPECT_EQ(remove_stale(), 0);
}

TEST(StaleRemoval, RemovesSetsAndQueuesOfAKilledOwner) {
    ChildProcess owner{own_everything};
    EXPECT_GT(owner.hear<Made>().queue, 0);
    ASSERT_EQ(set_count(), 1);
    ASSERT_EQ(queue_count(), 2);
    owner.kill();
    ASSERT_EQ(owner.status(), -SIGKILL);
    EXPECT_EQ(remove_stale(), 3);
    EXPECT_EQ(set_count(), 0);
    EXPECT_EQ(queue_count(), 0);
}

TEST(StaleRemoval, RemovesWhatAnOwnerLeftThatIsNotReapedYet) {
    ChildProcess owner{own_everything};
    owner.hear<Made>();
    owner.kill();
    siginfo_t ended = {};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(owner.pid()), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(remove_stale(), 3);
}

TEST(StaleRemoval, NeverTouchesWhatALiveOwnerMade) {
    ChildProcess owner{own_everything};
    const auto made = owner.hear<Made>();
    EXPECT_EQ(remove_stale(), 0);
    EXPECT_EQ(osal_process_sem_p(made.semid, made.member), OSAL_OK);
    EXPECT_EQ(osal_process_sem_v(made.semid, made.member), OSAL_OK);
    const gint32 message = 1;
    EXPECT_EQ(osal_process_queue_send(made.queue, &message, sizeof message), OSAL_OK);
    owner.give_word();
    owner.status();
    EXPECT_EQ(remove_stale(), 3);
}

TEST(StaleRemoval, NeverTouchesWhatTheCallerMade) {
    const Made made = make_everything();
    EXPECT_EQ(remove_stale(), 0);
    EXPECT_EQ(osal_process_sem_p(made.semid, made.member), OSAL_OK);
    EXPECT_EQ(osal_process_sem_v(made.semid, made.member), OSAL_OK);
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
}

TEST(StaleRemoval, TellsADeadOwnersQueuesFromALiveOwners) {
    ChildProcess dead{own_everything};
    dead.hear<Made>();
    ChildProcess live{own_everything};
    const auto kept = live.hear<Made>();
    dead.kill();
    dead.status();
    EXPECT_EQ(remove_stale(), 3);
    const gint32 message = 1;
    EXPECT_EQ(osal_process_queue_send(kept.queue, &message, sizeof message), OSAL_OK);
    EXPECT_EQ(osal_process_queue_send(kept.further_queue, &message, sizeof message), OSAL_OK);
    live.kill();
    live.status();
    EXPECT_EQ(remove_stale(), 3);
}

TEST(StaleRemoval, TakesAProcessWithTheOwnersIdButAnotherStartForAStranger) {
    ChildProcess owner{own_everything};
    const auto made = owner.hear<Made>();
    AttachedSet set{made.semid};
    set.head().owner_start_low += 1;
    EXPECT_EQ(remove_stale(), 3);
}

TEST(StaleRemoval, ClosesASetThatOthersHaveAttached) {
    ChildProcess owner{own_everything};
    const auto made = owner.hear<Made>();
    ASSERT_EQ(osal_process_sem_p(made.semid, made.member), OSAL_OK);
    ASSERT_EQ(osal_process_sem_v(made.semid, made.member), OSAL_OK);
    owner.kill();
    owner.status();
    EXPECT_EQ(remove_stale(), 3);
    EXPECT_EQ(osal_process_sem_p(made.semid, made.member), OSAL_ERR_BAD_ID);
}

// A segment with a key of the layer's range, made by a program that is gone and knew nothing of it.
void leave_foreign_segment(key_t key, gsize bytes, guint32 first_word) {
    ChildProcess program{[&](const Parent&) {
        const int id = shmget(key, bytes, IPC_CREAT | IPC_EXCL | 0600);
        void* const mapped = shmat(id, nullptr, 0);
        std::memcpy(mapped, &first_word, sizeof first_word);
        return id < 0 ? 1 : 0;
    }};
    ASSERT_EQ(program.status(), 0);
}

TEST(StaleRemoval, LeavesSegmentsOfOtherProgramsAlone) {
    const key_t key = mox::osal::first_set_key;
    leave_foreign_segment(key, 64, mox::osal::set_magic);
    leave_foreign_segment(key + 1, sizeof(mox::osal::SemSet), 12345);
    EXPECT_EQ(remove_stale(), 0);
    EXPECT_EQ(set_count(), 2);
    for (const key_t foreign : {key, key + 1}) shmctl(shmget(foreign, 0, 0), IPC_RMID, nullptr);
}

TEST(StaleRemoval, RemovesAHalfMadeSetOnlyWhenItsMakerIsDead) {
    ChildProcess maker{[](const Parent& parent) {
        parent.tell(shmget(mox::osal::first_set_key, sizeof(mox::osal::SemSet), IPC_CREAT | 0600));
        parent.wait_for_word();
        return 0;
    }};
    maker.hear<int>();
    EXPECT_EQ(remove_stale(), 0);
    maker.give_word();
    EXPECT_EQ(maker.status(), 0);
    EXPECT_EQ(remove_stale(), 1);
}

TEST(StaleRemoval, RemovesAQueueWhoseOwnersSetIsGoneAlready) {
    ChildProcess owner{own_everything};
    const auto made = owner.hear<Made>();
    owner.kill();
    owner.status();
    shmctl(made.semid, IPC_RMID, nullptr);
    EXPECT_EQ(remove_stale(), 2);
    EXPECT_EQ(queue_count(), 0);
}

TEST(StaleRemoval, NeedsNoPlaceForTheCount) {
    EXPECT_EQ(osal_process_remove_stale(nullptr), OSAL_OK);
}

}  // namespace
