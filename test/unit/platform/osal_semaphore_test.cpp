// Taking and releasing semaphores, by threads and by processes.
#include <gtest/gtest.h>
#include <moxplat/osal.h>
#include <sys/mman.h>

#include <array>
#include <atomic>
#include <new>
#include <string>
#include <thread>

#include "captured_log.hpp"
#include "child_process.hpp"
#include "system_v.hpp"

namespace {

using mox::test::CapturedLog;
using mox::test::ChildProcess;
using mox::test::Parent;

// One semaphore of this process, made before the test forks.
class SemaphoreTest : public ::testing::Test {
protected:
    gint32 index_ = -1;
    gint32 semid_ = -1;
    gint32 member_ = -1;

    SemaphoreTest() { osal_process_sem_create(&index_, &semid_, &member_); }
    ~SemaphoreTest() override { EXPECT_EQ(osal_process_release_all(), OSAL_OK); }

    gint32 take() const { return osal_process_sem_p(semid_, member_); }
    gint32 release() const { return osal_process_sem_v(semid_, member_); }

    // What another thread gets.
    gint32 release_elsewhere() const {
        gint32 code = 1;
        std::thread{[&] { code = release(); }}.join();
        return code;
    }

    // A role that takes the semaphore, says so, and keeps it until it is killed.
    auto holder() const {
        return [this](const Parent& parent) {
            parent.tell(take());
            for (;;) pause();
            return 0;
        };
    }
};

using Semaphore = SemaphoreTest;
using SemaphoreOfADeadHolder = SemaphoreTest;
using SemaphoreId = SemaphoreTest;

TEST_F(Semaphore, IsTakenAndReleasedAgainAndAgain) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(take(), OSAL_OK);
        EXPECT_EQ(release(), OSAL_OK);
    }
}

TEST_F(Semaphore, GivesACodeToAThreadThatTakesItTwice) {
    ASSERT_EQ(take(), OSAL_OK);
    EXPECT_EQ(take(), OSAL_ERR_HELD);
    EXPECT_EQ(release(), OSAL_OK);
}

TEST_F(Semaphore, GivesACodeToAThreadThatReleasesWhatItNeverTook) {
    EXPECT_EQ(release(), OSAL_ERR_NOT_HELD);
}

TEST_F(Semaphore, GivesACodeToAThreadThatReleasesItTwice) {
    ASSERT_EQ(take(), OSAL_OK);
    EXPECT_EQ(release(), OSAL_OK);
    EXPECT_EQ(release(), OSAL_ERR_NOT_HELD);
}

TEST_F(Semaphore, IsNotReleasedByAnotherThread) {
    ASSERT_EQ(take(), OSAL_OK);
    EXPECT_EQ(release_elsewhere(), OSAL_ERR_NOT_HELD);
    EXPECT_EQ(release(), OSAL_OK);
}

TEST_F(Semaphore, IsNotReleasedByAnotherProcess) {
    ASSERT_EQ(take(), OSAL_OK);
    ChildProcess child{[this](const Parent& parent) {
        parent.tell(release());
        return 0;
    }};
    EXPECT_EQ(child.hear<gint32>(), OSAL_ERR_NOT_HELD);
    EXPECT_EQ(release(), OSAL_OK);
}

TEST_F(Semaphore, KeepsAnotherThreadWaitingUntilItsRelease) {
    ASSERT_EQ(take(), OSAL_OK);
    std::atomic<bool> released{false};
    bool early = true;
    std::thread other{[&] {
        ASSERT_EQ(take(), OSAL_OK);
        early = !released.load();
        ASSERT_EQ(release(), OSAL_OK);
    }};
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    released.store(true);
    ASSERT_EQ(release(), OSAL_OK);
    other.join();
    EXPECT_FALSE(early);
}

TEST_F(Semaphore, KeepsAnotherProcessWaitingUntilItsRelease) {
    void* const shared =
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto* const released = new (shared) std::atomic<int>{0};
    ASSERT_EQ(take(), OSAL_OK);
    ChildProcess child{[&](const Parent& parent) {
        parent.tell('a');
        const gint32 code = take();
        return code == OSAL_OK && released->load() == 1 ? 0 : 1;
    }};
    EXPECT_EQ(child.hear<char>(), 'a');
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    released->store(1);
    ASSERT_EQ(release(), OSAL_OK);
    EXPECT_EQ(child.status(), 0);
    munmap(shared, 4096);
}

TEST_F(Semaphore, GuardsACounterThatTwoProcessesRaise) {
    constexpr int rounds = 20000;
    void* const shared =
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    // Not atomic on purpose: only the semaphore keeps the raises apart.
    auto* const counter = static_cast<int*>(shared);
    const auto raise_often = [&] {
        for (int i = 0; i < rounds; ++i) {
            if (take() != OSAL_OK) return 1;
            ++*counter;
            if (release() != OSAL_OK) return 2;
        }
        return 0;
    };
    ChildProcess child{[&](const Parent&) { return raise_often(); }};
    EXPECT_EQ(raise_often(), 0);
    EXPECT_EQ(child.status(), 0);
    EXPECT_EQ(*counter, 2 * rounds);
    munmap(shared, 4096);
}

TEST_F(SemaphoreOfADeadHolder, GoesToTheNextTakerAHundredTimesOfAHundred) {
    CapturedLog log;
    for (int round = 0; round < 100; ++round) {
        ChildProcess child{holder()};
        ASSERT_EQ(child.hear<gint32>(), OSAL_OK);
        child.kill();
        ASSERT_EQ(take(), OSAL_OK) << "round " << round;
        ASSERT_EQ(release(), OSAL_OK) << "round " << round;
    }
    EXPECT_EQ(log.lines().size(), 100U);
}

TEST_F(SemaphoreOfADeadHolder, GoesToAWaiterThatWaitedAlready) {
    ChildProcess child{holder()};
    ASSERT_EQ(child.hear<gint32>(), OSAL_OK);
    CapturedLog log;
    gint32 code = 1;
    std::thread waiter{[&] {
        code = take();
        release();
    }};
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    child.kill();
    waiter.join();
    EXPECT_EQ(code, OSAL_OK);
}

TEST_F(SemaphoreOfADeadHolder, IsLoggedOnceWithItsSetItsMemberAndTheDeadThread) {
    ChildProcess child{holder()};
    ASSERT_EQ(child.hear<gint32>(), OSAL_OK);
    const std::string pid = std::to_string(child.pid());
    child.kill();
    CapturedLog log;
    ASSERT_EQ(take(), OSAL_OK);
    ASSERT_EQ(release(), OSAL_OK);
    ASSERT_EQ(take(), OSAL_OK);
    ASSERT_EQ(release(), OSAL_OK);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.count("moxplat-osal: semaphore set " + std::to_string(semid_) + " member " +
                        std::to_string(member_) + ": its holder, thread " + pid),
              1U);
}

TEST_F(SemaphoreOfADeadHolder, ComesBackFromAThreadThatEndedWithoutARelease) {
    CapturedLog log;
    std::thread{[this] { ASSERT_EQ(take(), OSAL_OK); }}.join();
    EXPECT_EQ(take(), OSAL_OK);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(release(), OSAL_OK);
}

TEST_F(SemaphoreId, ThatNamesNoSetGivesACode) {
    for (const gint32 semid : {-1, G_MININT32, G_MAXINT32, semid_ + 1}) {
        EXPECT_EQ(osal_process_sem_p(semid, member_), OSAL_ERR_BAD_ID) << semid;
        EXPECT_EQ(osal_process_sem_v(semid, member_), OSAL_ERR_BAD_ID) << semid;
    }
}

TEST_F(SemaphoreId, WithAMemberOutsideTheSetGivesACode) {
    for (const gint32 member : {-1, mox::osal::slots_per_set, G_MAXINT32, G_MININT32}) {
        EXPECT_EQ(osal_process_sem_p(semid_, member), OSAL_ERR_BAD_ID) << member;
        EXPECT_EQ(osal_process_sem_v(semid_, member), OSAL_ERR_BAD_ID) << member;
    }
}

TEST_F(SemaphoreId, OfEveryMemberOfAMadeSetIsALock) {
    // Records exist that carry one object's set and another object's member.
    for (gint32 member = 0; member < mox::osal::slots_per_set; ++member) {
        ASSERT_EQ(osal_process_sem_p(semid_, member), OSAL_OK);
        ASSERT_EQ(osal_process_sem_v(semid_, member), OSAL_OK);
    }
}

// A segment that is none of the layer's own sets, however much of one it shows.
class ForeignSegment : public SemaphoreTest {
protected:
    int id_ = -1;
    mox::osal::SemSet* set_ = nullptr;

    void make(key_t key, gsize bytes) {
        id_ = shmget(key, bytes, IPC_CREAT | IPC_EXCL | 0600);
        ASSERT_GE(id_, 0);
        void* const mapped = shmat(id_, nullptr, 0);
        ASSERT_NE(reinterpret_cast<gintptr>(mapped), -1);
        set_ = static_cast<mox::osal::SemSet*>(mapped);
    }

    ~ForeignSegment() override {
        if (set_ != nullptr) shmdt(set_);
        shmctl(id_, IPC_RMID, nullptr);
    }
};

TEST_F(ForeignSegment, WithAPrivateKeyIsNoSet) {
    make(IPC_PRIVATE, sizeof(mox::osal::SemSet));
    set_->head.magic = mox::osal::set_magic;
    set_->head.word_size = sizeof(void*);
    EXPECT_EQ(osal_process_sem_p(id_, 0), OSAL_ERR_BAD_ID);
}

TEST_F(ForeignSegment, OfAnotherSizeIsNoSet) {
    make(mox::osal::first_set_key + 100, 64);
    set_->head.magic = mox::osal::set_magic;
    set_->head.word_size = sizeof(void*);
    EXPECT_EQ(osal_process_sem_p(id_, 0), OSAL_ERR_BAD_ID);
}

TEST_F(ForeignSegment, WithoutTheMagicIsNoSet) {
    make(mox::osal::first_set_key + 100, sizeof(mox::osal::SemSet));
    set_->head.word_size = sizeof(void*);
    EXPECT_EQ(osal_process_sem_p(id_, 0), OSAL_ERR_BAD_ID);
}

TEST_F(ForeignSegment, OfAnotherWordSizeIsRefusedWithALogLineThatSaysSo) {
    make(mox::osal::first_set_key + 100, sizeof(mox::osal::SemSet));
    set_->head.magic = mox::osal::set_magic;
    set_->head.word_size = 12 - sizeof(void*);
    CapturedLog log;
    EXPECT_EQ(osal_process_sem_p(id_, 0), OSAL_ERR_BAD_ID);
    EXPECT_EQ(log.count("-bit words"), 1U);
}

}  // namespace
