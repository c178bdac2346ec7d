// Threads: any number may call, on the same item and on different ones.
#include <atomic>
#include <thread>
#include <vector>

#include "persist_fixture.hpp"

namespace mox::test {
namespace {

class Threads : public OpenStore {
protected:
    static constexpr int count = 4;
    static constexpr int rounds = 50;

    // Runs the body with the thread's number in each thread, all at once.
    template <typename Body>
    static void in_threads(Body&& body) {
        std::atomic<int> waiting{count};
        std::vector<std::thread> threads;
        for (int number = 0; number < count; ++number) {
            threads.emplace_back([&, number] {
                waiting.fetch_sub(1);
                while (waiting.load() > 0) std::this_thread::yield();
                body(number);
            });
        }
        for (std::thread& thread : threads) thread.join();
    }

    static Value value_of(int thread, int round) {
        const std::string text = "[" + std::to_string(thread) + ", " + std::to_string(round) + "]";
        return Value{text.c_str()};
    }
};

TEST_F(Threads, SaveDifferentItemsWithoutMixingThem) {
    std::atomic<int> wrong{0};
    in_threads([&](int thread) {
        const std::string name = "Property" + std::to_string(thread);
        for (int round = 0; round < rounds; ++round) {
            const Value value = value_of(thread, round);
            const PER_MODE_E mode = round % 2 == 0 ? PER_MODE_PERMANENT : PER_MODE_RESET;
            if (save("Fan1", name.c_str(), value, mode) != PER_OK) ++wrong;
            if (!(read("Fan1", name.c_str(), mode) == saved_as(value))) ++wrong;
            if (cfg_status_save("Fan1", name.c_str(), static_cast<guint32>(round)) != PER_OK) {
                ++wrong;
            }
        }
    });
    EXPECT_EQ(wrong.load(), 0);
    ASSERT_EQ(reopen_store(), PER_OK);
    for (int thread = 0; thread < count; ++thread) {
        const std::string name = "Property" + std::to_string(thread);
        EXPECT_EQ(read("Fan1", name.c_str(), PER_MODE_PERMANENT),
                  saved_as(value_of(thread, rounds - 2)));
        EXPECT_EQ(read("Fan1", name.c_str(), PER_MODE_RESET),
                  saved_as(value_of(thread, rounds - 1)));
        EXPECT_EQ(newest_mode("Fan1", name.c_str()), PER_MODE_RESET);
    }
}

TEST_F(Threads, SaveOneItemAndItIsAlwaysAWholeValueOfOneOfThem) {
    ASSERT_EQ(save("Fan1", "Speed", value_of(0, 0)), PER_OK);
    std::atomic<int> wrong{0};
    in_threads([&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            if (save("Fan1", "Speed", value_of(thread, round)) != PER_OK) ++wrong;
            const Saved found = read("Fan1", "Speed");
            bool is_one = false;
            for (int writer = 0; writer < count; ++writer) {
                for (int turn = 0; turn < rounds; ++turn) {
                    is_one = is_one || found.bytes == value_of(writer, turn).bytes;
                }
            }
            if (found.code != PER_OK || !is_one) ++wrong;
        }
    });
    EXPECT_EQ(wrong.load(), 0);
}

TEST_F(Threads, MayMeetACloseAndAnOpen) {
    std::atomic<int> wrong{0};
    in_threads([&](int thread) {
        for (int round = 0; round < rounds; ++round) {
            if (thread == 0) {
                if (round % 10 == 0 && reopen_store() != PER_OK) ++wrong;
                continue;
            }
            const gint32 code = save("Fan1", "Speed", value_of(thread, round));
            if (code != PER_OK && code != PER_ERROR_CFG_INIT_FAIL) ++wrong;
        }
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(save("Fan1", "Speed", value_of(0, 0)), PER_OK);
}

}  // namespace
}  // namespace mox::test
