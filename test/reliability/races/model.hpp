// The model that the threads share: objects that are there from start to end, and for each thread
// some that it makes again and again, which any other thread may meet at any moment.
//
// What holds: every text is of equal letters, so a torn one shows; only exported functions are
// called; all names have their handles before the first thread starts.
#ifndef MOX_TEST_RACES_MODEL_HPP
#define MOX_TEST_RACES_MODEL_HPP

#include <classnode.h>
#include <lom.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace mox::test {

inline constexpr int kThreads = 8;
inline constexpr std::size_t kMostLetters = 200;  // of a text
inline constexpr guint32 kMostInput = 1000;       // numbers are below
inline constexpr std::size_t kQueues = 3;

// Which objects a call may meet.
struct Fleeting {
    std::array<std::string, 2> temps;   // deleted one by one, or with their position; replaced
    std::array<std::string, 2> boards;  // go through the garbage; never replaced: copies are made
    guint32 temp_position;
    guint32 board_position;
};

class Model {
public:
    Model();
    ~Model();
    Model(const Model&) = delete;
    Model& operator=(const Model&) = delete;

    const std::vector<std::string>& fans() const { return fans_; }
    const Fleeting& fleeting(std::size_t thread) const { return fleeting_[thread]; }
    const std::array<gint32, kQueues>& queues() const { return queues_; }
    const std::vector<OBJECT_HEAD_S*>& steady_records() const { return steady_; }
    OBJECT_HEAD_S& pair() const { return *pair_; }

    // Makes, or makes again, an object of a fleeting kind.
    static void make_temp(const std::string& name, guint32 position);
    static void make_board_object(const std::string& name, guint32 position);

    // Puts a number below kMostInput behind the accessor, in one step.
    void put_in_chip(int thread, guint32 value) const;

    // After the last thread: what the threads made goes, and what there was at first must be there
    // as it was. Ends the process when it is not.
    void check_steady();
    void remove_fleeting();
    void remove_steady();

private:
    void make_queues();
    void make_steady();
    OBJECT_HEAD_S* keep(OBJECT_HEAD_S* record);

    std::filesystem::path directory_;
    std::vector<std::string> fans_ = {"Fan1", "Fan2", "Fan3", "Fan4"};
    std::array<Fleeting, kThreads> fleeting_;
    std::array<gint32, kQueues> queues_ = {};
    std::vector<OBJECT_HEAD_S*> steady_;
    OBJECT_HEAD_S* pair_ = nullptr;
};

// Bytes of the pool in use, as it reports itself.
long pool_used();

}  // namespace mox::test

#endif
