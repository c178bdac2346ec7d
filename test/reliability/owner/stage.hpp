// Where the run takes place: a System V namespace and a directory of its own, the modules in it,
// and one owner after the other.
//
// What holds: no process of the run outlives the first one, and nothing of it is left in the file
// system.
#ifndef MOX_KILL_OWNER_STAGE_HPP
#define MOX_KILL_OWNER_STAGE_HPP

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "processes.hpp"
#include "shared_page.hpp"

namespace mox::kill_owner {

// What there is of System V in the namespace: segments, semaphore sets, queues.
struct SystemV {
    int segments = 0;
    int sets = 0;
    int queues = 0;

    int all() const { return segments + sets + queues; }
    bool operator==(const SystemV&) const = default;
    std::string text() const;
};
SystemV system_v();

class Stage {
public:
    // Enters the namespace, makes the directory and the page.
    Stage();
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    Process& owner() { return *owner_; }
    std::uint32_t spawned_us() const { return spawned_us_; }
    std::uint32_t ready_us() const { return ready_us_; }

    // Executes moxd; it is not ready yet.
    void spawn_owner(Process::Trace trace = Process::Trace::no);
    bool is_owner_ready() const;
    // Executes it and waits until modules may join.
    void start_owner();
    // Ends it as it should be ended.
    void stop_owner();
    // Gives the moment before the kill.
    std::uint32_t kill_owner();

    // What the hardware says from now on.
    void set_chip(int level) const;
    // Puts messages that are none into a queue until it is full.
    static void fill_queue(std::int32_t queue);

    void start_module(std::size_t number);
    // All at once.
    void kill_modules(const std::vector<std::size_t>& victims);
    void start_modules();
    // Ends them as they should be ended.
    void stop_modules();
    // Throws when one has ended, or something of the run has said that it failed.
    void expect_modules_live();

    // Starts a visitor and returns when it is ready for its operation.
    std::unique_ptr<Process> start_visitor(const std::string& operation);

    // Whether everything that is open after a kill is whole: throws with what is not.
    void expect_whole_store() const;
    // Names of files in the run directory that an owner should not have left.
    std::string left_in_run_dir() const;

private:
    std::string path(const std::string& name) const { return directory_ + '/' + name; }
    std::string owners_words() const;
    std::vector<std::string> module_command(const std::string& word) const;

    std::string directory_;
    std::unique_ptr<Process> owner_;
    std::array<std::unique_ptr<Process>, modules> modules_;
    std::uint32_t spawned_us_ = 0;
    std::uint32_t ready_us_ = 0;
};

}  // namespace mox::kill_owner

#endif
