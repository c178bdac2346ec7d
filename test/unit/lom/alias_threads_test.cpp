// The alias table among threads that bind, unbind, look up and list at the same time.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "alias_fixture.hpp"

namespace {

using mox::test::add_object;

constexpr guint32 kRounds = 500;

class AliasesAmongThreads : public mox::test::AliasFixture {
protected:
    void SetUp() override {
        AliasFixture::SetUp();
        first = add_object({.name = "Fan1"});
        second = add_object({.name = "Fan2"});
    }
    OBJ_HANDLE first = 0;
    OBJ_HANDLE second = 0;
};

TEST_F(AliasesAmongThreads, GiveOneOfTheBoundObjectsOrNone) {
    std::atomic<bool> is_over = false;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> readers;
    for (int index = 0; index < 2; ++index) {
        readers.emplace_back([&] {
            while (!is_over) {
                const OBJ_HANDLE found = lom_get_with_alias("Fan", 1);
                if (found != 0 && found != first && found != second) ++wrong;
                lom_get_data_with_alias("Fan", 1);
            }
        });
    }
    std::thread lister([&] {
        while (!is_over) {
            FILE* const nowhere = fopen("/dev/null", "w");
            mox::dump_aliases(nowhere);
            fclose(nowhere);
        }
    });
    std::thread binder([&] {
        for (guint32 round = 0; round < kRounds; ++round) lom_bind_alias(first, 1);
    });
    for (guint32 round = 0; round < kRounds; ++round) {
        lom_bind_alias(second, 1);
        lom_unbind_alias(second, 1);
        lom_unbind_all_alias(first);
    }
    binder.join();
    is_over = true;
    for (std::thread& thread : readers) thread.join();
    lister.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(AliasesAmongThreads, OfDifferentNumbersDoNotDisturbEachOther) {
    std::atomic<int> missed = 0;
    std::vector<std::thread> threads;
    for (guint32 thread = 0; thread < 3; ++thread) {
        threads.emplace_back([this, thread, &missed] {
            const OBJ_HANDLE own = thread == 0 ? second : first;
            for (guint32 round = 0; round < kRounds; ++round) {
                const guint32 number = thread * kRounds + round;
                lom_bind_alias(own, number);
                if (lom_get_with_alias("Fan", number) != own) ++missed;
                if (round % 2 == 0) lom_unbind_alias(own, number);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(missed, 0);
    EXPECT_EQ(mox::test::aliases().size(), 3 * kRounds / 2);
    lom_unbind_all_alias(first);
    EXPECT_EQ(mox::test::aliases().size(), kRounds / 2);
}

}  // namespace
