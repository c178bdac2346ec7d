// One kill after the other, and what has to hold after each.
#ifndef MOX_KILL_OWNER_ROUNDS_HPP
#define MOX_KILL_OWNER_ROUNDS_HPP

#include <map>
#include <random>
#include <string>
#include <vector>

#include "stage.hpp"

namespace mox::kill_owner {

// What the owner is at when it is killed.
inline const std::vector<std::string> operations = {
    "start", "join", "copy", "leave",    "plug",    "unplug", "refresh",  "save",
    "apply", "grow", "set",  "override", "restore", "full",   "clean-up", "stop"};

// What it does with an object's lock, which a visitor had before it.
inline const std::vector<std::string> lock_operations = {"refresh", "apply", "set"};

// What was seen up to now.
struct Figures {
    unsigned kills = 0;
    unsigned at_steps = 0;                 // of these, at a chosen system call
    unsigned in_locks = 0;                 // while it had an object's lock
    unsigned before_locks = 0;             // while it waited for one
    unsigned module_kills = 0;             // of modules, whatever the owner did
    unsigned while_down = 0;               // of these, while there was no owner
    unsigned in_restarts = 0;              // while they were executed anew, or just had been
    unsigned in_calls = 0;                 // visitors whose call the owner was at
    unsigned at_once = 0;                  // two at the same moment
    unsigned works_alone = 0;              // owner kills behind which all worked without one
    unsigned pools = 0;                    // later ones, used as the first one was
    unsigned restarts = 0;                 // of modules that were killed later
    std::uint32_t down_us = 0;             // the longest time without an owner
    std::uint32_t survivors_us = 0;        // the longest from a module's kill to others' work
    std::vector<std::uint32_t> notice_us;  // from the kill until a module was told
    std::vector<std::uint32_t> back_us;    // from the ready line until a module was joined
};

// What a pool is used for when all modules have joined: blocks, and bytes as they were requested.
struct PoolUse {
    std::uint32_t blocks = 0;
    std::uint32_t objects = 0;
    std::uint32_t classes = 0;
    std::uint32_t removed = 0;

    bool operator==(const PoolUse&) const = default;
    std::string text() const;
};

class Rounds {
public:
    Rounds(Stage& stage, std::uint32_t seed) : stage_(stage), random_(seed) {}

    // Starts everything, and learns how long each operation takes and how many steps it has.
    void begin();

    // Kills the owner at a step of an operation, or at a random moment of it. part: which share of
    // the operation is behind it then, 0 to 1.
    void kill_at_step(const std::string& operation, double part);
    void kill_at_random(const std::string& operation);
    // Kills it while nothing but the modules' usual work is done.
    void kill_at_work();
    // Kills it at an instruction that it makes with an object's lock. part: as above.
    void kill_in_lock(const std::string& operation, double part);
    // Kills it while it waits for an object's lock, and then the module that has the lock.
    void kill_before_lock(const std::string& operation);
    // Kills it, and looks for so long at what modules do without an owner.
    void stay_down(std::uint32_t milliseconds);

    using Modules = std::vector<std::size_t>;
    // Kills modules, all at once, under a living owner.
    void kill_modules(const Modules& victims);
    void kill_modules_while_down(const Modules& victims);
    // Kills one so long after a new owner was ready.
    void kill_in_restart(std::size_t victim, std::uint32_t us);
    // Kills a visitor whose call the owner has come to a step of. part: as above.
    void kill_in_call(const std::string& operation, double part);

    // Ends everything as it should be ended; nothing may be left.
    void end();

    const Figures& figures() const { return figures_; }

    // What was done last, for messages.
    const std::string& doing() const { return doing_; }

private:
    struct Length {
        unsigned steps = 0;
        std::uint32_t us = 0;
    };
    using JoinedNow = std::array<bool, modules>;

    void learn(const std::string& operation);
    void learn_start_and_stop();
    unsigned steps_of_operation(const std::string& operation, unsigned last_step);
    void run_operation(const std::string& operation, std::uint32_t so_long_us);
    void stop_and_expect_notice();
    JoinedNow joined_now() const;
    // Whether the objects' locks, without which there is no work, are there behind the kill. They
    // are not in a stop and a start.
    enum class Locks { are_there, may_be_gone };
    static Locks locks_in(const std::string& operation);
    // False when the owner had ended by itself.
    bool kill_and_check(Locks locks);
    void begin_operation(const std::string& operation);
    bool is_over(const std::string& operation, std::int32_t saves) const;
    void end_visitor(const std::string& operation);
    void give_up_saved();
    void begin_locked(const std::string& operation);
    void learn_locks();
    void expect_work_alone(std::uint32_t milliseconds);
    void expect_work_since(std::uint32_t moment_us, const Modules& victims);
    void kill(const Modules& victims);
    void start(const Modules& victims);
    void expect_notice(std::uint32_t gone_us, const JoinedNow& were_joined);
    bool are_back();
    void expect_back();
    void expect_nothing_left() const;  // within 1 s
    void look();
    void expect_same_pool();  // as the first one was, within 1 s
    void expect_whole_or_none(const std::string& operation);
    std::string states() const;

    Stage& stage_;
    std::mt19937 random_;
    std::map<std::string, Length> lengths_;
    SystemV fresh_;
    PoolUse fresh_use_;
    std::uint32_t compared_pool_of_us_ = 0;  // the owner's start
    Figures figures_;
    std::string doing_;
    std::unique_ptr<Process> visitor_;
    std::uint32_t begun_us_ = 0;  // the last operation
    int level_ = 5;               // what the hardware says
};

}  // namespace mox::kill_owner

#endif
