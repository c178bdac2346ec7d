// One kill after the other, and what must hold after each.
#ifndef MOX_KILLS_ORDEAL_HPP
#define MOX_KILLS_ORDEAL_HPP

#include <array>
#include <cstdint>
#include <memory>
#include <random>
#include <string>

#include "inspector.hpp"
#include "operations.hpp"
#include "stage.hpp"
#include "tracer.hpp"

namespace mox::kills {

struct Figures {
    unsigned victims = 0;
    unsigned kills = 0;  // behind which everything held
    unsigned at_random = 0;
    unsigned at_system_calls = 0;
    unsigned at_instructions = 0;
    std::uint32_t slowest_round_ms = 0;  // from a kill to a full round of both survivors
    std::uint32_t slowest_gone_ms = 0;   // from a kill until nothing of the victim was left
};

class Ordeal {
public:
    Ordeal(Stage& stage, std::uint32_t seed);
    ~Ordeal();
    Ordeal(const Ordeal&) = delete;
    Ordeal& operator=(const Ordeal&) = delete;

    // Each kills one victim and throws Failed when something does not hold behind it.
    void kill_at_random(const Operation& operation);
    Traced kill_at_step(const Operation& operation, Step step, unsigned at);

    // Whether the pool's use comes back to what it was when all had joined; what was replaced in it
    // is given back 5 s later.
    void expect_pool_as_at_start();

    // Ends the other modules in good order: what they have is seen last.
    void end();

    const Figures& figures() const { return figures_; }
    std::string pool_at_start() const { return pool_at_start_; }
    std::string pool_now() { return inspector_->ask(Question::tell_pool); }

private:
    struct Moment {
        std::uint32_t ms = 0;
        std::array<std::uint32_t, 2> rounds = {};
        std::array<std::uint32_t, 2> full_rounds = {};
        std::array<std::uint32_t, 2> events = {};
    };

    static Moment moment();
    pid_t start_victim(const Operation& operation, bool is_traced);
    void warm_up();
    void expect_lives() const;
    void expect_rounds(const Moment& since, bool is_full);
    void expect_nothing_left(const Moment& since);
    void expect_boards_come_back();
    void judge(const Operation& operation, const Moment& killed);
    std::string survivors_text() const;

    Stage& stage_;
    std::mt19937 random_;
    std::array<pid_t, 2> survivors_ = {-1, -1};
    std::unique_ptr<Inspector> inspector_;
    int owner_descriptors_ = 0;
    std::string at_;  // the kill that is judged
    std::string pool_at_start_;
    Figures figures_;
};

}  // namespace mox::kills

#endif
