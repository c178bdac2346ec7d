// Where the run takes place: a System V namespace and a directory of its own, and moxd in it.
//
// What holds: no process of the run outlives the first one, and nothing of it is left in the file
// system.
#ifndef MOX_KILLS_STAGE_HPP
#define MOX_KILLS_STAGE_HPP

#include <sys/types.h>

#include <functional>
#include <string>

namespace mox::kills {

// Waits until it is true, looking every half millisecond. False when it was not within so long.
bool within_ms(std::uint32_t milliseconds, const std::function<bool()>& is_true);

// Entries of a directory such as /proc/PID/fd, or lines behind the head of a list such as
// /proc/sysvipc/msg; -1 when it cannot be read.
int entries_of(const std::string& directory);
int lines_of(const std::string& list);

// Whether a child has ended; it is not reaped.
bool has_ended(pid_t child);

class Stage {
public:
    Stage();
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    std::string run_dir() const { return directory_ + "/run"; }

    // Makes a process of the run with its output in a file named after it; body's return or failure
    // ends it. seconds: it is killed by SIGALRM when it lives longer, 0 for no bound.
    pid_t start_process(const std::string& name, unsigned seconds,
                        const std::function<void()>& body) const;

    // Starts moxd and waits until modules may join.
    void start_owner();
    // Ends it, and looks that it left nothing in the namespace.
    void stop_owner();
    // The descriptors that it has open.
    int owner_descriptors() const;
    std::string owner_descriptor_names() const;
    // Throws when it has ended, with the end of its log.
    void expect_owner_lives() const;

    // The end of what a process of this name has written.
    std::string log_end(const std::string& name) const;

private:
    std::string directory_;
    pid_t owner_ = -1;
};

}  // namespace mox::kills

#endif
