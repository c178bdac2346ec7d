// Making semaphores, giving them back, and the clean stop of their owner.
#include <gtest/gtest.h>
#include <moxplat/osal.h>

#include <chrono>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "captured_log.hpp"
#include "child_process.hpp"
#include "system_v.hpp"

namespace {

using mox::test::CapturedLog;
using mox::test::ChildProcess;
using mox::test::Parent;

struct Slot {
    gint32 index = -2;
    gint32 semid = -2;
    gint32 member = -2;

    gint32 take() const { return osal_process_sem_p(semid, member); }
    gint32 release() const { return osal_process_sem_v(semid, member); }
    void give_back() const { osal_process_sem_free(index, member); }
    std::pair<gint32, gint32> place() const { return {semid, member}; }
};

Slot make_slot() {
    Slot slot;
    osal_process_sem_create(&slot.index, &slot.semid, &slot.member);
    return slot;
}

class OwnerTest : public ::testing::Test {
protected:
    ~OwnerTest() override { EXPECT_EQ(osal_process_release_all(), OSAL_OK); }
};

using SemaphoreSlot = OwnerTest;
using SemaphoreSlots = OwnerTest;
using SemaphoreCreation = OwnerTest;
using ReleaseAll = OwnerTest;
using ForkedChild = OwnerTest;

TEST_F(SemaphoreSlot, IsReusedAfterItWasGivenBack) {
    const Slot first = make_slot();
    first.give_back();
    EXPECT_EQ(make_slot().place(), first.place());
}

TEST_F(SemaphoreSlot, IsNotHandedOutWhileItsOldHolderKeepsIt) {
    const Slot held = make_slot();
    ASSERT_EQ(held.take(), OSAL_OK);
    held.give_back();
    EXPECT_NE(make_slot().place(), held.place());
    ASSERT_EQ(held.release(), OSAL_OK);
    EXPECT_EQ(make_slot().place(), held.place());
}

TEST_F(SemaphoreSlot, IsNotHandedOutWhileAnotherProcessKeepsIt) {
    const Slot held = make_slot();
    ChildProcess child{[&](const Parent& parent) {
        parent.tell(held.take());
        parent.wait_for_word();
        return held.release() == OSAL_OK ? 0 : 1;
    }};
    ASSERT_EQ(child.hear<gint32>(), OSAL_OK);
    held.give_back();
    CapturedLog log;
    EXPECT_NE(make_slot().place(), held.place());
    child.give_word();
    EXPECT_EQ(child.status(), 0);
    EXPECT_EQ(make_slot().place(), held.place());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SemaphoreSlot, IsHandedOutAgainWhenItsOldHolderDied) {
    const Slot slot = make_slot();
    ChildProcess child{[&](const Parent& parent) {
        parent.tell(slot.take());
        for (;;) pause();
        return 0;
    }};
    ASSERT_EQ(child.hear<gint32>(), OSAL_OK);
    slot.give_back();
    child.kill();
    child.status();
    CapturedLog log;
    EXPECT_EQ(make_slot().place(), slot.place());
    EXPECT_EQ(log.count("died"), 1U);
}

TEST_F(SemaphoreSlot, StaysALockForWhoeverWaitsWhenItIsGivenBack) {
    const Slot slot = make_slot();
    ASSERT_EQ(slot.take(), OSAL_OK);
    gint32 taken = 1;
    gint32 released = 1;
    std::thread waiter{[&] {
        taken = slot.take();
        released = slot.release();
    }};
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    slot.give_back();
    ASSERT_EQ(slot.release(), OSAL_OK);
    waiter.join();
    EXPECT_EQ(taken, OSAL_OK);
    EXPECT_EQ(released, OSAL_OK);
    const Slot again = make_slot();
    EXPECT_EQ(again.place(), slot.place());
    EXPECT_EQ(again.take(), OSAL_OK);
    EXPECT_EQ(again.release(), OSAL_OK);
}

TEST_F(SemaphoreSlot, IsNotGivenBackTwice) {
    const Slot slot = make_slot();
    slot.give_back();
    CapturedLog log;
    slot.give_back();
    EXPECT_EQ(log.count("not freed"), 1U);
    make_slot();
    EXPECT_NE(make_slot().place(), slot.place());
}

TEST_F(SemaphoreSlot, IsNotGivenBackUnderAWrongIndexOrMember) {
    const Slot slot = make_slot();
    CapturedLog log;
    osal_process_sem_free(slot.index, slot.member + 1);
    osal_process_sem_free(slot.index + 1, slot.member + 1);
    osal_process_sem_free(-1, 0);
    osal_process_sem_free(G_MAXINT32, G_MAXINT32 % mox::osal::slots_per_set);
    EXPECT_EQ(log.count("not freed"), 4U);
    EXPECT_NE(make_slot().place(), slot.place());
}

TEST_F(SemaphoreSlot, ThatWasNeverMadeIsIgnoredWhenGivenBack) {
    CapturedLog log;
    osal_process_sem_free(-1, -1);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(SemaphoreSlots, ServeAHundredThousandObjectsInTwoProcesses) {
    constexpr int objects = 100000;
    std::vector<Slot> slots;
    std::set<std::pair<gint32, gint32>> places;
    for (int i = 0; i < objects; ++i) {
        slots.push_back(make_slot());
        places.insert(slots.back().place());
    }
    EXPECT_EQ(places.size(), static_cast<gsize>(objects));
    const auto take_each = [&] {
        for (const Slot& slot : slots)
            if (slot.take() != OSAL_OK || slot.release() != OSAL_OK) return 1;
        return 0;
    };
    EXPECT_EQ(take_each(), 0);
    ChildProcess child{[&](const Parent&) { return take_each(); }};
    EXPECT_EQ(child.status(), 0);
}

TEST_F(SemaphoreSlots, NeedNoFurtherSetWhenAllAreReused) {
    std::vector<Slot> slots;
    for (int i = 0; i < 3 * mox::osal::slots_per_set; ++i) slots.push_back(make_slot());
    const int sets = mox::test::set_count();
    EXPECT_EQ(sets, 3);
    for (const Slot& slot : slots) slot.give_back();
    for (gsize i = 0; i < slots.size(); ++i) make_slot();
    EXPECT_EQ(mox::test::set_count(), sets);
}

TEST_F(SemaphoreSlots, AreFoundByAProcessThatDidNotInheritThem) {
    // The child knows the set's id only as a number: it attaches the set itself.
    ChildProcess child{[](const Parent& parent) {
        const Slot slot = make_slot();
        parent.tell(slot);
        parent.wait_for_word();
        return 0;
    }};
    const auto slot = child.hear<Slot>();
    EXPECT_EQ(slot.take(), OSAL_OK);
    EXPECT_EQ(slot.release(), OSAL_OK);
    child.give_word();
    EXPECT_EQ(child.status(), 0);
    EXPECT_EQ(osal_process_remove_stale(nullptr), OSAL_OK);
}

TEST_F(SemaphoreCreation, StepsOverKeysThatOthersUse) {
    const int foreign = shmget(mox::osal::first_set_key, 64, IPC_CREAT | IPC_EXCL | 0600);
    ASSERT_GE(foreign, 0);
    const Slot slot = make_slot();
    EXPECT_EQ(slot.take(), OSAL_OK);
    EXPECT_EQ(slot.release(), OSAL_OK);
    shmctl(foreign, IPC_RMID, nullptr);
}

TEST_F(SemaphoreCreation, FillsMinusOneAndNamesTheSettingWhenTheSystemIsFull) {
    const long limit = mox::test::read_setting("shmmni");
    ASSERT_TRUE(mox::test::write_setting("shmmni", 0));
    CapturedLog log;
    const Slot slot = make_slot();
    EXPECT_TRUE(mox::test::write_setting("shmmni", limit));
    EXPECT_EQ(slot.index, -1);
    EXPECT_EQ(slot.semid, -1);
    EXPECT_EQ(slot.member, -1);
    EXPECT_EQ(slot.take(), OSAL_ERR_BAD_ID);
    EXPECT_EQ(log.count("kernel.shmmni"), 1U);
}

TEST_F(ReleaseAll, RemovesEverySetAndQueueOfTheProcess) {
    for (int i = 0; i < 2 * mox::osal::slots_per_set; ++i) make_slot();
    gint32 queue = 0;
    ASSERT_EQ(osal_process_queue_create(&queue), OSAL_OK);
    ASSERT_EQ(mox::test::set_count(), 2);
    ASSERT_EQ(mox::test::queue_count(), 1);
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
    EXPECT_EQ(mox::test::set_count(), 0);
    EXPECT_EQ(mox::test::queue_count(), 0);
}

TEST_F(ReleaseAll, MakesTakesFailButLetsTheHolderRelease) {
    const Slot held = make_slot();
    const Slot other = make_slot();
    ASSERT_EQ(held.take(), OSAL_OK);
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
    EXPECT_EQ(other.take(), OSAL_ERR_BAD_ID);
    EXPECT_EQ(held.release(), OSAL_OK);
    EXPECT_EQ(held.take(), OSAL_ERR_BAD_ID);
}

TEST_F(ReleaseAll, GivesWaitersACode) {
    const Slot held = make_slot();
    ASSERT_EQ(held.take(), OSAL_OK);
    gint32 code = 1;
    std::thread waiter{[&] { code = held.take(); }};
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
    EXPECT_EQ(held.release(), OSAL_OK);
    waiter.join();
    EXPECT_EQ(code, OSAL_ERR_BAD_ID);
}

TEST_F(ReleaseAll, LetsTheProcessBeginAnew) {
    make_slot();
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
    const Slot slot = make_slot();
    EXPECT_EQ(slot.take(), OSAL_OK);
    EXPECT_EQ(slot.release(), OSAL_OK);
}

TEST_F(ReleaseAll, IsFineInAProcessThatMadeNothing) {
    EXPECT_EQ(osal_process_release_all(), OSAL_OK);
}

TEST_F(ForkedChild, OwnsNothingOfItsParents) {
    const Slot slot = make_slot();
    gint32 queue = 0;
    ASSERT_EQ(osal_process_queue_create(&queue), OSAL_OK);
    ChildProcess child{[&](const Parent&) {
        if (osal_process_queue_delete(queue) != OSAL_ERR_BAD_ID) return 1;
        return osal_process_release_all() == OSAL_OK ? 0 : 2;
    }};
    EXPECT_EQ(child.status(), 0);
    EXPECT_EQ(slot.take(), OSAL_OK);
    EXPECT_EQ(slot.release(), OSAL_OK);
    EXPECT_EQ(mox::test::queue_count(), 1);
}

TEST_F(ForkedChild, TakesWhatItsParentReleases) {
    const Slot slot = make_slot();
    ASSERT_EQ(slot.take(), OSAL_OK);
    ChildProcess child{[&](const Parent& parent) {
        if (slot.release() != OSAL_ERR_NOT_HELD) return 1;
        parent.wait_for_word();
        if (slot.take() != OSAL_OK) return 2;
        return slot.release() == OSAL_OK ? 0 : 3;
    }};
    ASSERT_EQ(slot.release(), OSAL_OK);
    child.give_word();
    EXPECT_EQ(child.status(), 0);
}

}  // namespace
