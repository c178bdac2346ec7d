// The lock of an object, taken by several processes, some of which are killed while they hold it.
#include <lom.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "../unit/platform/captured_log.hpp"
#include "core_model.hpp"

namespace mox::test {
namespace {

using Clock = std::chrono::steady_clock;
using SharedLock = ProcessTest;

constexpr int kKills = 100;
constexpr std::chrono::milliseconds kLongestHandOver{100};

// A flag in memory that the test shares with its roles.
class SharedFlag {
public:
    SharedFlag()
        : memory_{mmap(nullptr, sizeof(Flag), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)} {
        if (memory_ == MAP_FAILED) throw std::runtime_error("no shared memory for a flag");
        flag_ = new (memory_) Flag{0};
    }
    ~SharedFlag() { munmap(memory_, sizeof(Flag)); }
    SharedFlag(const SharedFlag&) = delete;
    SharedFlag& operator=(const SharedFlag&) = delete;

    void raise() const { flag_->store(1); }
    bool is_raised() const { return flag_->load() != 0; }

private:
    using Flag = std::atomic<int>;
    void* memory_;
    Flag* flag_;
};

// A role that takes the lock of the object it is sent, and gives it back at the test's word, just
// after it raised the flag.
std::function<void(Channel&)> holder(const SharedFlag& released) {
    return [&released](Channel& test) {
        const OBJ_HANDLE fan = receive_object(test);
        test.tell(lom_lock_object(fan));
        test.hear<char>();
        released.raise();
        EXPECT_EQ(lom_unlock_object(fan), MOX_OK);
    };
}

TEST_F(SharedLock, HeldInOneProcessBlocksAnother) {
    const SharedFlag released;
    Role holder_role{"holder", holder(released)};
    Role waiter{"waiter", [&released](Channel& test) {
                    const OBJ_HANDLE fan = receive_object(test);
                    test.tell('l');
                    EXPECT_EQ(lom_lock_object(fan), MOX_OK);
                    EXPECT_TRUE(released.is_raised()) << "two processes had the lock";
                    EXPECT_EQ(lom_unlock_object(fan), MOX_OK);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    send_object(holder_role, "Fan1", kMemberId, FALSE);
    ASSERT_EQ(holder_role.hear<gint32>(), MOX_OK);
    send_object(waiter, "Fan1", kMemberId + 1, FALSE);
    waiter.hear<char>();
    wait_until_blocked(waiter.pid());
    holder_role.tell('r');
    waiter.finish();
    holder_role.finish();
}

TEST_F(SharedLock, HeldByTheOwnerHoldsUpAMembersRead) {
    const SharedFlag released;
    Role reader{"reader", [&released](Channel& test) {
                    const OBJ_HANDLE fan = receive_object(test);
                    test.tell('l');
                    EXPECT_EQ(read_number(fan, "Speed"), 1200U);
                    EXPECT_TRUE(released.is_raised()) << "the value was read under the lock";
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    ASSERT_EQ(lom_lock_object(fan), MOX_OK);
    send_object(reader, "Fan1", kMemberId, FALSE);
    reader.hear<char>();
    wait_until_blocked(reader.pid());
    released.raise();
    EXPECT_EQ(lom_unlock_object(fan), MOX_OK);
    reader.finish();
}

TEST_F(SharedLock, OfAMutexObjectBlocksAnotherProcessAtTheObjectsThatShareIt) {
    const SharedFlag released;
    Role holder_role{"holder", holder(released)};
    Role waiter{"waiter", [&released](Channel& test) {
                    const OBJ_HANDLE second = receive_object(test);
                    test.tell('l');
                    EXPECT_EQ(lom_lock_object(second), MOX_OK);
                    EXPECT_TRUE(released.is_raised()) << "two processes had the shared lock";
                    EXPECT_EQ(lom_unlock_object(second), MOX_OK);
                }};
    const PoolOwner owner;
    make_object("Fan", "Fan1", {});
    make_object("Fan", "Fan2", {}, "Fan1");
    send_object(holder_role, "Fan1", kMemberId, FALSE);
    ASSERT_EQ(holder_role.hear<gint32>(), MOX_OK);
    send_object(waiter, "Fan2", kMemberId + 1, FALSE);
    waiter.hear<char>();
    wait_until_blocked(waiter.pid());
    holder_role.tell('r');
    waiter.finish();
    holder_role.finish();
}

// Whom to kill, once the other process waits for the lock that the first one has.
struct Order {
    pid_t holder;
    pid_t waiter;
};

// A role that carries out orders and tells when it killed; a holder of 0 ends it.
void kill_to_order(Channel& test) {
    for (auto order = test.hear<Order>(); order.holder != 0; order = test.hear<Order>()) {
        wait_until_blocked(order.waiter);
        const Clock::time_point killed = Clock::now();
        EXPECT_EQ(kill(order.holder, SIGKILL), 0);
        test.tell(killed);
    }
}

struct Taken {
    guint32 speed;
    gint32 code;
};

// A role that reads, takes the lock and never gives it back.
void hold_until_killed(Channel& test) {
    const OBJ_HANDLE fan = receive_object(test);
    const guint32 speed = read_number(fan, "Speed");
    test.tell(Taken{speed, lom_lock_object(fan)});
    for (;;) pause();
}

std::vector<std::unique_ptr<Role>> roles_named(const std::string& name, int count,
                                               const std::function<void(Channel&)>& body) {
    std::vector<std::unique_ptr<Role>> roles;
    for (int i = 1; i <= count; ++i) {
        roles.push_back(std::make_unique<Role>(name + " " + std::to_string(i), body));
    }
    return roles;
}

// The owner waits for the lock when its holder is killed. Every holder reads what the owner wrote
// after the death of the one before, so each next holder, in either process, works normally.
TEST_F(SharedLock, ComesBackWithin100MsEachTimeItsHolderIsKilled) {
    Role killer{"killer", kill_to_order};
    const auto holders = roles_named("holder", kKills, hold_until_killed);
    const CapturedLog log;
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 0)});
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    guint32 speed = 0;
    Clock::duration longest{};
    for (const auto& holder_role : holders) {
        send_object(*holder_role, "Fan1", kMemberId, FALSE);
        const auto taken = holder_role->hear<Taken>();
        ASSERT_EQ(taken.code, MOX_OK);
        ASSERT_EQ(taken.speed, speed);
        killer.tell(Order{holder_role->pid(), getpid()});
        ASSERT_EQ(lom_lock_object(fan), MOX_OK);
        const Clock::time_point got = Clock::now();
        const Clock::duration hand_over = got - killer.hear<Clock::time_point>();
        ASSERT_GE(hand_over.count(), 0) << "the lock was not exclusive";
        ASSERT_LT(hand_over, kLongestHandOver) << "after " << speed << " kills";
        longest = std::max(longest, hand_over);
        holder_role->expect_killed();
        ASSERT_EQ(lom_unlock_object(fan), MOX_OK);
        write_number("Fan1", "Speed", ++speed);
        ASSERT_EQ(read_number(fan, "Speed"), speed);
    }
    killer.tell(Order{});
    killer.finish();
    RecordProperty("longest_hand_over_us", std::to_string(longest / std::chrono::microseconds{1}));
    EXPECT_EQ(log.count("died; taken over"), static_cast<gsize>(kKills))
        << "each hand-over is told of once";
}

TEST_F(SharedLock, PassesOnFromAKilledHolderToEveryProcessThatWaits) {
    const auto waiters = roles_named("waiter", 3, [](Channel& test) {
        const OBJ_HANDLE fan = receive_object(test);
        test.tell('l');
        EXPECT_EQ(lom_lock_object(fan), MOX_OK);
        EXPECT_EQ(lom_unlock_object(fan), MOX_OK);
        EXPECT_EQ(read_number(fan, "Speed"), 1200U);
    });
    Role holder_role{"holder", hold_until_killed};
    const CapturedLog log;
    const PoolOwner owner;
    make_object("Fan", "Fan1", {number("Speed", 1200)});
    send_object(holder_role, "Fan1", kMemberId, FALSE);
    ASSERT_EQ(holder_role.hear<Taken>().code, MOX_OK);
    for (const auto& waiter : waiters) {
        send_object(*waiter, "Fan1", kMemberId, FALSE);
        waiter->hear<char>();
        wait_until_blocked(waiter->pid());
    }
    holder_role.kill_now();
    for (const auto& waiter : waiters) waiter->finish();
    EXPECT_EQ(read_number(lom_get_object_handle("Fan1"), "Speed"), 1200U);
}

TEST_F(SharedLock, OutlivesReadersThatAreKilledInTheMiddleOfTheirWork) {
    const auto readers = roles_named("reader", 40, [](Channel& test) {
        const OBJ_HANDLE fan = receive_object(test);
        test.tell('r');
        for (;;) read_text(fan, "Label");
    });
    const CapturedLog log;
    const PoolOwner owner;
    make_object("Fan", "Fan1", {text("Label", "")});
    const OBJ_HANDLE fan = lom_get_object_handle("Fan1");
    int delay = 0;
    for (const auto& reader : readers) {
        send_object(*reader, "Fan1", kMemberId, FALSE);
        reader->hear<char>();
        // Another moment of the reader's work each time.
        std::this_thread::sleep_for(std::chrono::microseconds{delay += 53});
        reader->kill_now();
        const std::string label = "after " + std::to_string(delay) + " us";
        write_text("Fan1", "Label", label);
        ASSERT_EQ(read_text(fan, "Label"), label);
    }
}

}  // namespace
}  // namespace mox::test
