// What a thread carries with it, and the judgements on what it was given.
#ifndef MOX_TEST_RACES_EXPECT_HPP
#define MOX_TEST_RACES_EXPECT_HPP

#include <lom.h>

#include <atomic>
#include <initializer_list>
#include <mutex>
#include <random>
#include <string>

#include "model.hpp"

namespace mox::test {

// What the threads share beside the model.
struct Shared {
    std::mutex listening;  // who adds or replaces listeners: the owner serialises that
    // Who makes an object has its record until it is ready: nobody deletes it meanwhile.
    std::array<std::mutex, kThreads> building;
    std::mutex collecting;  // one rebuild of a class's collection at a time
    std::atomic<int> bound = 0;
    std::atomic<int> destroyed = 0;
    std::atomic<bool> is_over = false;
};

// One thread: its random numbers, its counts, its objects' state.
struct Player {
    Player(Model& the_model, Shared& the_shared, int number, std::uint32_t seed)
        : model(the_model), shared(the_shared), thread(number), random(seed) {}

    std::size_t below(std::size_t limit) { return random() % limit; }
    bool chance(unsigned percent) { return random() % 100 < percent; }
    gint32 module_id() const { return thread + 1; }

    Model& model;
    Shared& shared;
    int thread;
    std::mt19937 random;
    bool has_boards = false;
    std::atomic<guint64> calls = 0;
    guint64 values = 0;        // texts and numbers that were looked at
    guint64 gone_answers = 0;  // calls on an object of its own that it had deleted
    guint64 events = 0;        // taken from the queues
};

// Ends the process unless the code is one of these. what: call and object.
void expect_code(const Player& player, gint32 code, std::initializer_list<gint32> allowed,
                 const std::string& what);

// Ends the process unless the text is of equal letters.
void expect_whole(Player& player, const std::string& text, const std::string& what);
void expect_number(Player& player, guint32 value, const std::string& what);

// A text of equal letters, of any length from 1 to kMostLetters.
std::string letters(Player& player);

// The name of any object with a "Label": steady in half of the cases.
const std::string& any_label(Player& player);
bool is_steady(const std::string& name);

// Codes for a call on an object that may be on its way out.
std::initializer_list<gint32> ok_or_gone(const std::string& name);

// The calls that the threads mix; each does one or a few, and checks what came of it.
using Call = void (*)(Player&);
struct NamedCall {
    const char* name;
    int weight;
    Call call;
};
const std::vector<NamedCall>& value_calls();
const std::vector<NamedCall>& object_calls();
const std::vector<NamedCall>& listening_calls();

// Gives the listener lists back that were replaced while the threads ran, and puts the first ones
// in their place.
void restore_listeners();
// Before the threads: has the first queue listen to everything.
void start_listening(const Model& model);

}  // namespace mox::test

#endif
