// The fake operating-system layer keeps the contract and does what the tests that use it ask of it.
#include <gtest/gtest.h>
#include <moxfake/osal.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

namespace {

namespace fake = mox::fake::osal;

class FakeOsal : public ::testing::Test {
protected:
    FakeOsal() { fake::reset(); }
    ~FakeOsal() override { fake::reset(); }

    static fake::Semaphore make() {
        fake::Semaphore made;
        osal_process_sem_create(&made.index, &made.semid, &made.member);
        return made;
    }
    static gint32 take(const fake::Semaphore& s) { return osal_process_sem_p(s.semid, s.member); }
    static gint32 release(const fake::Semaphore& s) {
        return osal_process_sem_v(s.semid, s.member);
    }
    static gint32 send(gint32 queue, gint32 type = 1) {
        return osal_process_queue_send(queue, &type, sizeof type);
    }
    static gint32 receive(gint32 queue, gint32 wait = 0) {
        gint32 type = 0;
        return osal_process_queue_receive(queue, &type, sizeof type, wait);
    }
};

using FakeSemaphore = FakeOsal;
using FakeQueue = FakeOsal;
using FakeTick = FakeOsal;

TEST_F(FakeSemaphore, CountsTakesAndReleasesAndTellsWhatIsHeld) {
    const fake::Semaphore one = make();
    const fake::Semaphore other = make();
    EXPECT_EQ(take(one), OSAL_OK);
    EXPECT_TRUE(fake::is_held(one.semid, one.member));
    EXPECT_FALSE(fake::is_held(other.semid, other.member));
    EXPECT_EQ(fake::held(), 1U);
    EXPECT_EQ(fake::held_by_this_thread(), 1U);
    EXPECT_EQ(release(one), OSAL_OK);
    EXPECT_EQ(fake::held(), 0U);
    EXPECT_EQ(fake::takes(one.semid, one.member), 1U);
    EXPECT_EQ(fake::releases(one.semid, one.member), 1U);
    EXPECT_EQ(fake::takes(), 1U);
    EXPECT_EQ(fake::takes(other.semid, other.member), 0U);
}

TEST_F(FakeSemaphore, GivesTheCodesOfTheContract) {
    const fake::Semaphore one = make();
    EXPECT_EQ(release(one), OSAL_ERR_NOT_HELD);
    EXPECT_EQ(take(one), OSAL_OK);
    EXPECT_EQ(take(one), OSAL_ERR_HELD);
    EXPECT_EQ(release(one), OSAL_OK);
    EXPECT_EQ(osal_process_sem_p(-1, -1), OSAL_ERR_BAD_ID);
    EXPECT_EQ(osal_process_sem_p(one.semid, fake::semaphores_per_set), OSAL_ERR_BAD_ID);
    EXPECT_EQ(fake::takes(), 1U);
}

TEST_F(FakeSemaphore, LetsEveryMemberOfAMadeSetBeTaken) {
    const fake::Semaphore one = make();
    EXPECT_EQ(osal_process_sem_p(one.semid, fake::semaphores_per_set - 1), OSAL_OK);
    EXPECT_EQ(osal_process_sem_v(one.semid, fake::semaphores_per_set - 1), OSAL_OK);
}

TEST_F(FakeSemaphore, KeepsAnotherThreadWaiting) {
    const fake::Semaphore one = make();
    ASSERT_EQ(take(one), OSAL_OK);
    int guarded = 1;
    std::thread other{[&] {
        ASSERT_EQ(take(one), OSAL_OK);
        guarded *= 10;
        ASSERT_EQ(release(one), OSAL_OK);
    }};
    std::this_thread::sleep_for(std::chrono::milliseconds{10});
    guarded += 1;
    ASSERT_EQ(release(one), OSAL_OK);
    other.join();
    EXPECT_EQ(guarded, 20);
}

TEST_F(FakeSemaphore, RecordsWhatIsMadeAndGivenBack) {
    const fake::Semaphore one = make();
    const fake::Semaphore other = make();
    osal_process_sem_free(other.index, other.member);
    EXPECT_EQ(fake::created(), (std::vector{one, other}));
    EXPECT_EQ(fake::freed(), std::vector{other});
    EXPECT_EQ(fake::bad_sem_frees(), 0U);
    osal_process_sem_free(other.index, other.member);
    osal_process_sem_free(one.index, one.member + 1);
    EXPECT_EQ(fake::bad_sem_frees(), 2U);
}

TEST_F(FakeSemaphore, FailsTheTakeThatATestNames) {
    const fake::Semaphore one = make();
    fake::fail_take(2, OSAL_ERR_LIMIT);
    EXPECT_EQ(take(one), OSAL_OK);
    EXPECT_EQ(release(one), OSAL_OK);
    EXPECT_EQ(take(one), OSAL_ERR_LIMIT);
    EXPECT_EQ(take(one), OSAL_OK);
    EXPECT_EQ(release(one), OSAL_OK);
}

TEST_F(FakeSemaphore, FailsEveryTakeOfTheSemaphoreThatATestNames) {
    const fake::Semaphore one = make();
    const fake::Semaphore other = make();
    fake::fail_takes_of(one.semid, one.member, OSAL_ERR_SYSTEM);
    EXPECT_EQ(take(one), OSAL_ERR_SYSTEM);
    EXPECT_EQ(take(one), OSAL_ERR_SYSTEM);
    EXPECT_EQ(take(other), OSAL_OK);
    EXPECT_EQ(release(other), OSAL_OK);
    fake::fail_takes_of(one.semid, one.member, OSAL_OK);
    EXPECT_EQ(take(one), OSAL_OK);
    EXPECT_EQ(release(one), OSAL_OK);
}

TEST_F(FakeSemaphore, FailsTheCreationThatATestNames) {
    fake::fail_create(1);
    EXPECT_EQ(make(), fake::Semaphore{});
    EXPECT_NE(make(), fake::Semaphore{});
}

TEST_F(FakeQueue, KeepsWhatWasSentAndGivesItOutInOrder) {
    EXPECT_EQ(send(5, 1), OSAL_OK);
    EXPECT_EQ(send(6, 2), OSAL_OK);
    EXPECT_EQ(send(5, 3), OSAL_OK);
    EXPECT_EQ(fake::sent().size(), 3U);
    ASSERT_EQ(fake::sent_to(5).size(), 2U);
    EXPECT_EQ(fake::sent_to(5)[1].bytes.size(), 4U);
    gint32 type = 0;
    EXPECT_EQ(osal_process_queue_receive(5, &type, sizeof type, 0), 4);
    EXPECT_EQ(type, 1);
    EXPECT_EQ(osal_process_queue_receive(5, &type, sizeof type, 0), 4);
    EXPECT_EQ(type, 3);
    EXPECT_EQ(receive(5), OSAL_ERR_EMPTY);
    EXPECT_EQ(fake::sent().size(), 3U);
}

TEST_F(FakeQueue, RecordsHowManySemaphoresTheSenderHeld) {
    const fake::Semaphore one = make();
    EXPECT_EQ(send(5), OSAL_OK);
    ASSERT_EQ(take(one), OSAL_OK);
    EXPECT_EQ(send(5), OSAL_OK);
    ASSERT_EQ(release(one), OSAL_OK);
    EXPECT_EQ(fake::sent()[0].semaphores_held, 0U);
    EXPECT_EQ(fake::sent()[1].semaphores_held, 1U);
}

TEST_F(FakeQueue, GivesTheCodesOfTheContract) {
    std::vector<guint8> big(OSAL_QUEUE_MESSAGE_MAX + 1, 1);
    EXPECT_EQ(osal_process_queue_send(5, big.data(), big.size()), OSAL_ERR_TOO_BIG);
    EXPECT_EQ(osal_process_queue_send(5, nullptr, 8), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(send(5, 0), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(send(0), OSAL_ERR_BAD_ID);
    ASSERT_EQ(osal_process_queue_send(5, big.data(), 100), OSAL_OK);
    EXPECT_EQ(receive(5), OSAL_ERR_TOO_BIG);
    EXPECT_EQ(osal_process_queue_receive(5, big.data(), 100, 0), 100);
}

TEST_F(FakeQueue, FailsTheSendThatATestNames) {
    fake::fail_send(2, OSAL_ERR_FULL);
    EXPECT_EQ(send(5), OSAL_OK);
    EXPECT_EQ(send(5), OSAL_ERR_FULL);
    EXPECT_EQ(send(5), OSAL_OK);
    EXPECT_EQ(fake::sent().size(), 2U);
    EXPECT_EQ(fake::send_calls(), 3U);
}

TEST_F(FakeQueue, FailsEverySendToTheQueueThatATestNames) {
    fake::fail_sends_to(5, OSAL_ERR_FULL);
    EXPECT_EQ(send(5), OSAL_ERR_FULL);
    EXPECT_EQ(send(6), OSAL_OK);
    fake::fail_sends_to(5, OSAL_OK);
    EXPECT_EQ(send(5), OSAL_OK);
}

TEST_F(FakeQueue, FailsEveryReceiveFromTheQueueThatATestNames) {
    EXPECT_EQ(send(5), OSAL_OK);
    fake::fail_receives_from(5, OSAL_ERR_SYSTEM);
    EXPECT_EQ(receive(5), OSAL_ERR_SYSTEM);
    EXPECT_EQ(fake::receive_calls(), 1U);
}

TEST_F(FakeQueue, IsGoneWhenATestRemovesIt) {
    fake::remove_queue(5);
    EXPECT_EQ(send(5), OSAL_ERR_BAD_ID);
    EXPECT_EQ(receive(5), OSAL_ERR_BAD_ID);
    EXPECT_EQ(receive(5, 1), OSAL_ERR_BAD_ID);
}

TEST_F(FakeQueue, LetsAReceiverWait) {
    gint32 size = 0;
    std::thread receiver{[&] { size = receive(5, 1); }};
    std::this_thread::sleep_for(std::chrono::milliseconds{10});
    EXPECT_EQ(send(5), OSAL_OK);
    receiver.join();
    EXPECT_EQ(size, 4);
}

TEST_F(FakeQueue, IsMadeAndDeleted) {
    gint32 queue = 0;
    ASSERT_EQ(osal_process_queue_create(&queue), OSAL_OK);
    EXPECT_EQ(send(queue), OSAL_OK);
    EXPECT_EQ(osal_process_queue_delete(queue), OSAL_OK);
    EXPECT_EQ(send(queue), OSAL_ERR_BAD_ID);
    EXPECT_EQ(osal_process_queue_delete(queue), OSAL_ERR_BAD_ID);
}

TEST_F(FakeSemaphore, TellsHowItStands) {
    const fake::Semaphore one = make();
    OSAL_SEM_STATE_S how = {};
    ASSERT_EQ(osal_process_sem_state(one.semid, one.member, &how), OSAL_OK);
    EXPECT_EQ(how.holder, 0);
    ASSERT_EQ(take(one), OSAL_OK);
    std::thread other{[&] {
        EXPECT_EQ(take(one), OSAL_OK);
        EXPECT_EQ(release(one), OSAL_OK);
    }};
    do {
        ASSERT_EQ(osal_process_sem_state(one.semid, one.member, &how), OSAL_OK);
    } while (how.waiter_count == 0);
    EXPECT_EQ(how.holder, gettid());
    EXPECT_NE(how.waiters[0], gettid());
    EXPECT_EQ(release(one), OSAL_OK);
    other.join();
    ASSERT_EQ(osal_process_sem_state(one.semid, one.member, &how), OSAL_OK);
    EXPECT_EQ(how.waiter_count, 0U);
    OSAL_BUSY_SEM_S busy = {};
    guint32 count = 1;
    EXPECT_EQ(osal_process_list_busy(&busy, 1, &count), OSAL_OK);
    EXPECT_EQ(count, 0U);
    ASSERT_EQ(take(one), OSAL_OK);
    EXPECT_EQ(osal_process_list_busy(&busy, 1, &count), OSAL_OK);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(busy.semid, one.semid);
    EXPECT_EQ(busy.state.holder, gettid());
    EXPECT_EQ(osal_process_list_busy(nullptr, 1, &count), OSAL_ERR_ARGUMENT);
    ASSERT_EQ(release(one), OSAL_OK);
    EXPECT_EQ(osal_process_sem_state(one.semid, one.member, nullptr), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(osal_process_sem_state(-5, 0, &how), OSAL_ERR_BAD_ID);
}

TEST_F(FakeQueue, TellsHowItStands) {
    OSAL_QUEUE_STATE_S how = {};
    ASSERT_EQ(send(5), OSAL_OK);
    ASSERT_EQ(send(5), OSAL_OK);
    ASSERT_EQ(osal_process_queue_state(5, &how), OSAL_OK);
    EXPECT_EQ(how.messages, 2U);
    EXPECT_EQ(how.bytes, 0U);
    EXPECT_EQ(osal_process_queue_state(5, nullptr), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(osal_process_queue_state(0, &how), OSAL_ERR_BAD_ID);
}

TEST_F(FakeTick, IsWhatATestSets) {
    EXPECT_EQ(osal_tick_get(), 0U);
    fake::set_tick(3723004);
    EXPECT_EQ(osal_tick_get(), 3723004U);
}

TEST_F(FakeOsal, CountsStopsAndSweeps) {
    const fake::Semaphore one = make();
    gint32 found = -1;
    EXPECT_EQ(osal_process_find_stale(&found), OSAL_OK);
    EXPECT_EQ(found, 0);
    EXPECT_EQ(osal_process_find_stale(nullptr), OSAL_ERR_ARGUMENT);
    EXPECT_EQ(osal_process_remove_stale(nullptr), OSAL_OK);
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
    EXPECT_EQ(fake::remove_stale_calls(), 1U);
    EXPECT_EQ(fake::release_all_calls(), 1U);
    EXPECT_EQ(take(one), OSAL_ERR_BAD_ID);
}

TEST_F(FakeOsal, ForgetsEverythingOnReset) {
    const fake::Semaphore one = make();
    ASSERT_EQ(take(one), OSAL_OK);
    ASSERT_EQ(send(5), OSAL_OK);
    fake::fail_send(1);
    fake::set_tick(7);
    fake::reset();
    EXPECT_EQ(fake::held(), 0U);
    EXPECT_EQ(receive(5), OSAL_ERR_EMPTY);
    EXPECT_EQ(send(5), OSAL_OK);
    EXPECT_EQ(fake::sent().size(), 1U);
    EXPECT_EQ(osal_tick_get(), 0U);
    EXPECT_TRUE(fake::created().empty());
}

}  // namespace
