// Looking at semaphores, queues and leftovers: what is told is what stands there, and nothing is
// changed by the look.
#include <gtest/gtest.h>
#include <moxplat/osal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "child_process.hpp"
#include "system_v.hpp"

namespace {

using mox::test::ChildProcess;
using mox::test::Parent;

class LookTest : public ::testing::Test {
protected:
    gint32 index_ = -1;
    gint32 semid_ = -1;
    gint32 member_ = -1;

    LookTest() { osal_process_sem_create(&index_, &semid_, &member_); }
    ~LookTest() override { EXPECT_EQ(osal_process_release_all(), OSAL_OK); }

    OSAL_SEM_STATE_S look() const {
        OSAL_SEM_STATE_S state = {};
        EXPECT_EQ(osal_process_sem_state(semid_, member_, &state), OSAL_OK);
        return state;
    }

    // Looks until so many threads wait; gives up after ten seconds.
    OSAL_SEM_STATE_S look_for_waiters(guint32 count) const {
        OSAL_SEM_STATE_S state = look();
        for (int i = 0; i < 10000 && state.waiter_count != count; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds{1});
            state = look();
        }
        return state;
    }

    // A thread that takes the semaphore and lets it go; its id is published before it waits.
    std::thread taker(std::atomic<gint32>& id) const {
        return std::thread{[this, &id] {
            id.store(gettid());
            EXPECT_EQ(osal_process_sem_p(semid_, member_), OSAL_OK);
            EXPECT_EQ(osal_process_sem_v(semid_, member_), OSAL_OK);
        }};
    }
};

using SemaphoreState = LookTest;
using BusyList = LookTest;
using QueueState = LookTest;

TEST_F(SemaphoreState, OfAFreeSemaphoreNamesNobody) {
    const OSAL_SEM_STATE_S state = look();
    EXPECT_EQ(state.holder, 0);
    EXPECT_FALSE(state.holder_is_dead);
    EXPECT_EQ(state.waiter_count, 0U);
}

TEST_F(SemaphoreState, NamesTheHolderUntilItsRelease) {
    ASSERT_EQ(osal_process_sem_p(semid_, member_), OSAL_OK);
    EXPECT_EQ(look().holder, gettid());
    EXPECT_FALSE(look().holder_is_dead);
    ASSERT_EQ(osal_process_sem_v(semid_, member_), OSAL_OK);
    EXPECT_EQ(look().holder, 0);
}

TEST_F(SemaphoreState, NamesAHolderInAnotherProcessAndSaysWhenItDied) {
    ChildProcess child{[this](const Parent& parent) {
        parent.tell(osal_process_sem_p(semid_, member_));
        for (;;) pause();
        return 0;
    }};
    ASSERT_EQ(child.hear<gint32>(), OSAL_OK);
    EXPECT_EQ(look().holder, child.pid());
    const pid_t holder = child.pid();
    child.kill();
    child.status();
    EXPECT_EQ(look().holder, holder);
    EXPECT_TRUE(look().holder_is_dead);
}

TEST_F(SemaphoreState, SaysThatAHolderDiedAlsoBeforeItIsReaped) {
    ChildProcess child{[this](const Parent& parent) {
        parent.tell(osal_process_sem_p(semid_, member_));
        for (;;) pause();
        return 0;
    }};
    ASSERT_EQ(child.hear<gint32>(), OSAL_OK);
    child.kill();
    siginfo_t ended = {};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child.pid()), &ended, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(look().holder, child.pid());
    EXPECT_TRUE(look().holder_is_dead);
}

TEST_F(SemaphoreState, NamesTheThreadThatWaitsAndForgetsItAfterItsTurn) {
    ASSERT_EQ(osal_process_sem_p(semid_, member_), OSAL_OK);
    std::atomic<gint32> id{0};
    std::thread waiter = taker(id);
    const OSAL_SEM_STATE_S state = look_for_waiters(1);
    ASSERT_EQ(state.waiter_count, 1U);
    EXPECT_EQ(state.waiters[0], id.load());
    ASSERT_EQ(osal_process_sem_v(semid_, member_), OSAL_OK);
    waiter.join();
    EXPECT_EQ(look().waiter_count, 0U);
}

TEST_F(SemaphoreState, NamesFourOfSixThatWaitAndAllSixGetTheirTurn) {
    constexpr std::size_t threads = 6;
    ASSERT_EQ(osal_process_sem_p(semid_, member_), OSAL_OK);
    std::atomic<gint32> ids[threads] = {};
    std::vector<std::thread> waiters;
    for (std::atomic<gint32>& id : ids) waiters.push_back(taker(id));
    const OSAL_SEM_STATE_S state = look_for_waiters(OSAL_SEM_WAITERS);
    ASSERT_EQ(state.waiter_count, guint32{OSAL_SEM_WAITERS});
    for (const gint32 thread : state.waiters) {
        EXPECT_EQ(std::count(std::begin(ids), std::end(ids), thread), 1) << thread;
    }
    ASSERT_EQ(osal_process_sem_v(semid_, member_), OSAL_OK);
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(look().waiter_count, 0U);
}

TEST_F(SemaphoreState, ForgetsAWaiterThatWasKilledAndGivesItsPlaceAway) {
    ASSERT_EQ(osal_process_sem_p(semid_, member_), OSAL_OK);
    for (int round = 0; round < OSAL_SEM_WAITERS + 1; ++round) {
        ChildProcess child{[this](const Parent&) { return osal_process_sem_p(semid_, member_); }};
        const OSAL_SEM_STATE_S state = look_for_waiters(1);
        ASSERT_EQ(state.waiter_count, 1U) << "round " << round;
        EXPECT_EQ(state.waiters[0], child.pid());
        child.kill();
        ASSERT_EQ(child.status(), -SIGKILL);
        EXPECT_EQ(look().waiter_count, 0U);
    }
    ASSERT_EQ(osal_process_sem_v(semid_, member_), OSAL_OK);
}

TEST_F(SemaphoreState, OfAnUnknownSemaphoreOrWithoutAPlaceGivesACode) {
    OSAL_SEM_STATE_S state = {};
    EXPECT_EQ(osal_process_sem_state(semid_, member_, nullptr), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(osal_process_sem_state(semid_, -1, &state), OSAL_ERR_BAD_ID);
    EXPECT_EQ(osal_process_sem_state(semid_, 1 << 20, &state), OSAL_ERR_BAD_ID);
    EXPECT_EQ(osal_process_sem_state(-1, 0, &state), OSAL_ERR_BAD_ID);
}

TEST_F(BusyList, HasWhatIsHeldAndNothingElse) {
    gint32 index = -1;
    gint32 semid = -1;
    gint32 member = -1;
    osal_process_sem_create(&index, &semid, &member);
    OSAL_BUSY_SEM_S list[2] = {};
    guint32 count = 99;
    ASSERT_EQ(osal_process_list_busy(list, 2, &count), OSAL_OK);
    EXPECT_EQ(count, 0U);
    ASSERT_EQ(osal_process_sem_p(semid, member), OSAL_OK);
    ASSERT_EQ(osal_process_list_busy(list, 2, &count), OSAL_OK);
    ASSERT_EQ(count, 1U);
    EXPECT_EQ(list[0].semid, semid);
    EXPECT_EQ(list[0].member, member);
    EXPECT_EQ(list[0].state.holder, gettid());
    ASSERT_EQ(osal_process_sem_v(semid, member), OSAL_OK);
}

TEST_F(BusyList, IsSeenFromAProcessThatKnowsNoSemaphore) {
    ASSERT_EQ(osal_process_sem_p(semid_, member_), OSAL_OK);
    const gint32 holder = gettid();
    ChildProcess child{[holder](const Parent&) {
        OSAL_BUSY_SEM_S seen = {};
        guint32 count = 0;
        const gint32 result = osal_process_list_busy(&seen, 1, &count);
        return result == OSAL_OK && count == 1 && seen.state.holder == holder ? 0 : 1;
    }};
    EXPECT_EQ(child.status(), 0);
    ASSERT_EQ(osal_process_sem_v(semid_, member_), OSAL_OK);
}

TEST_F(BusyList, CountsWhatItHasNoRoomFor) {
    gint32 index = -1;
    gint32 semid = -1;
    gint32 member = -1;
    osal_process_sem_create(&index, &semid, &member);
    ASSERT_EQ(osal_process_sem_p(semid, member), OSAL_OK);
    ASSERT_EQ(osal_process_sem_p(semid_, member_), OSAL_OK);
    guint32 count = 0;
    EXPECT_EQ(osal_process_list_busy(nullptr, 0, &count), OSAL_OK);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(osal_process_list_busy(nullptr, 1, &count), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(osal_process_list_busy(nullptr, 0, nullptr), OSAL_ERR_ARGUMENT);
    ASSERT_EQ(osal_process_sem_v(semid, member), OSAL_OK);
    ASSERT_EQ(osal_process_sem_v(semid_, member_), OSAL_OK);
}

TEST_F(QueueState, CountsTheMessagesThatWait) {
    gint32 queue = -1;
    ASSERT_EQ(osal_process_queue_create(&queue), OSAL_OK);
    OSAL_QUEUE_STATE_S state = {};
    ASSERT_EQ(osal_process_queue_state(queue, &state), OSAL_OK);
    EXPECT_EQ(state.messages, 0U);
    EXPECT_EQ(state.bytes, 0U);
    EXPECT_GE(state.limit, guint64{OSAL_QUEUE_MESSAGE_MAX});
    const gint32 message[3] = {1, 2, 3};
    ASSERT_EQ(osal_process_queue_send(queue, message, sizeof message), OSAL_OK);
    ASSERT_EQ(osal_process_queue_send(queue, message, sizeof message), OSAL_OK);
    ASSERT_EQ(osal_process_queue_state(queue, &state), OSAL_OK);
    EXPECT_EQ(state.messages, 2U);
    EXPECT_EQ(state.bytes, 2 * (sizeof message - sizeof message[0]));
}

TEST_F(QueueState, OfARemovedOrUnknownQueueOrWithoutAPlaceGivesACode) {
    gint32 queue = -1;
    ASSERT_EQ(osal_process_queue_create(&queue), OSAL_OK);
    EXPECT_EQ(osal_process_queue_state(queue, nullptr), OSAL_ERR_ARGUMENT);
    ASSERT_EQ(osal_process_queue_delete(queue), OSAL_OK);
    OSAL_QUEUE_STATE_S state = {};
    EXPECT_EQ(osal_process_queue_state(queue, &state), OSAL_ERR_BAD_ID);
    EXPECT_EQ(osal_process_queue_state(-1, &state), OSAL_ERR_BAD_ID);
}

TEST(StaleLook, CountsWhatADeadOwnerLeftAndLeavesItThere) {
    ChildProcess owner{[](const Parent& parent) {
        gint32 index = -1;
        gint32 semid = -1;
        gint32 member = -1;
        gint32 queue = -1;
        osal_process_sem_create(&index, &semid, &member);
        osal_process_queue_create(&queue);
        parent.tell(semid);
        parent.wait_for_word();
        return 0;
    }};
    ASSERT_GE(owner.hear<gint32>(), 0);
    gint32 found = -1;
    EXPECT_EQ(osal_process_find_stale(&found), OSAL_OK);
    EXPECT_EQ(found, 0) << "the owner lives";
    owner.give_word();
    ASSERT_EQ(owner.status(), 0);
    EXPECT_EQ(osal_process_find_stale(&found), OSAL_OK);
    EXPECT_EQ(found, 2);
    EXPECT_EQ(mox::test::set_count(), 1);
    EXPECT_EQ(mox::test::queue_count(), 1);
    gint32 removed = -1;
    EXPECT_EQ(osal_process_remove_stale(&removed), OSAL_OK);
    EXPECT_EQ(removed, 2) << "the look closed nothing";
}

TEST(StaleLook, NeedsAPlaceForTheCount) {
    EXPECT_EQ(osal_process_find_stale(nullptr), OSAL_ERR_ARGUMENT);
}

}  // namespace
