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
inline const std::vector<std::string> operations = {"start",  "join",    "copy", "leave", "plug",
                                                    "unplug", "refresh", "save", "stop"};

// What was seen up to now.
struct Figures {
    unsigned kills = 0;
    unsigned at_steps = 0;                 // of these, at a chosen system call
    std::vector<std::uint32_t> notice_us;  // from the kill until a module was told
    std::vector<std::uint32_t> back_us;    // from the ready line until a module was joined
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
    bool kill_and_check();  // false when the owner had ended by itself
    void expect_notice(std::uint32_t gone_us, const JoinedNow& were_joined);
    bool are_back();
    void expect_back();
    void expect_nothing_left() const;
    std::string states() const;

    Stage& stage_;
    std::mt19937 random_;
    std::map<std::string, Length> lengths_;
    SystemV fresh_;
    Figures figures_;
    std::string doing_;
    std::unique_ptr<Process> visitor_;
};

}  // namespace mox::kill_owner

#endif
