// Processes that play a part each in a test, and the words that they exchange with it.
//
//   TEST_F(Something, ...) {                        a fixture that is a ProcessTest
//       Role reader{"reader", [](Channel& test) {   forked here: before a thread, before the pool
//           const int number = test.hear<int>();
//           EXPECT_EQ(number, 42);                  fails the test, in the role's name
//           test.tell('d');
//       }};
//       reader.tell(42);
//       reader.hear<char>();
//       reader.finish();
//   }
//
// What holds: no wait is endless. A word that does not come within kWordSeconds, a role that does
// not end within kRoleSeconds and a test that does not end within kTestSeconds fail with a message
// that says so. A role ends with _exit, so only the test's own process is checked for leaks. No
// role outlives its test, not even one whose test was killed.
#ifndef MOX_TEST_PROCESS_ROLES_HPP
#define MOX_TEST_PROCESS_ROLES_HPP

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace mox::test {

inline constexpr int kWordSeconds = 20;
inline constexpr unsigned kRoleSeconds = 60;
inline constexpr unsigned kTestSeconds = 90;

// A word that was waited for and will not come. gtest turns it into a failure of the test.
class NoWord : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One end of a connection for plain values.
class Channel {
public:
    // descriptor: a stream socket, closed with the channel. other_side: its name in messages.
    Channel(int descriptor, std::string other_side);
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    template <typename Value>
    void tell(const Value& value) {
        static_assert(std::is_trivially_copyable_v<Value>);
        send_bytes(&value, sizeof(value));
    }

    // Waits for the other side's next value; throws NoWord when none comes.
    template <typename Value>
    Value hear() {
        static_assert(std::is_trivially_copyable_v<Value>);
        Value value = {};
        receive_bytes(&value, sizeof(value));
        return value;
    }

private:
    void send_bytes(const void* bytes, std::size_t size);
    void receive_bytes(void* bytes, std::size_t size);

    friend class Role;
    int descriptor_;
    std::string other_side_;
};

// A forked process. Each role is ended by finish() or kill_now(), or found dead by expect_killed();
// one that is left running is killed and fails the test.
class Role {
public:
    // name: for messages. body: runs in the role with its end of the channel.
    Role(std::string name, const std::function<void(Channel& test)>& body);
    ~Role();
    Role(const Role&) = delete;
    Role& operator=(const Role&) = delete;

    template <typename Value>
    void tell(const Value& value) {
        with_channel([&] {
            channel_.tell(value);
            return 0;
        });
    }
    template <typename Value>
    Value hear() {
        return with_channel([&] { return channel_.hear<Value>(); });
    }

    // Waits until the role has ended by itself and makes its failures the test's.
    void finish();

    // Kills the role, whatever it is doing, and waits until it is gone. What it found wrong, if it
    // had ended already, is the test's.
    void kill_now();

    // Waits until the role is gone; it must have been killed with SIGKILL.
    void expect_killed();

    pid_t pid() const { return pid_; }

private:
    struct Pipes {
        int words[2] = {-1, -1};
        int report[2] = {-1, -1};
    };
    static Pipes make_pipes();
    Role(std::string name, const std::function<void(Channel& test)>& body, const Pipes& pipes);

    // A word that cannot come because the role has failed: its failures are the cause, so they are
    // shown first.
    template <typename Work>
    auto with_channel(Work&& work) {
        try {
            return work();
        } catch (const NoWord&) {
            abandon();
            throw;
        }
    }

    void abandon();
    void end_within(unsigned seconds);
    int report_failures(unsigned seconds);
    int wait_for_end();

    std::string name_;
    Channel channel_;
    int report_;
    pid_t pid_ = -1;
    bool running_ = true;
};

// Waits until a process sleeps in the system, such as in a lock that another one holds; throws
// NoWord when it does not within kWordSeconds.
void wait_until_blocked(pid_t process);

// The base of every fixture here: it bounds the test in time.
class ProcessTest : public ::testing::Test {
protected:
    ProcessTest();
    ~ProcessTest() override;
};

}  // namespace mox::test

#endif
