// The processes of the run, and how they are watched, stepped and ended. No wait is endless.
#ifndef MOX_KILL_OWNER_PROCESSES_HPP
#define MOX_KILL_OWNER_PROCESSES_HPP

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace mox::kill_owner {

// Something that was promised did not hold. The text says what, where and when.
class Failed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Waits until it is true, looking every 0.2 milliseconds. False when it was not within so long.
bool within_ms(std::uint32_t milliseconds, const std::function<bool()>& is_true);

// A child that ends with this object, or with the run.
class Process {
public:
    enum class Trace { no, yes };  // traced: it waits at its first instruction for run_steps

    // output, errors: files that are appended to.
    Process(const std::vector<std::string>& command, const std::string& output,
            const std::string& errors, Trace trace = Trace::no);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const;
    bool has_ended();

    // Waits for the end and gives the exit status, or minus the signal that ended it; -1000 when it
    // did not end in time.
    int wait();
    void kill_now();

    // From here on, and not before, its main thread stops at system calls.
    void trace();

    // Lets it run until it has entered and left system calls so many times in all, or until
    // is_over, which is asked meanwhile. Gives the number of stops. A process that ended is over.
    unsigned run_steps(unsigned last_step, const std::function<bool()>& is_over);

    // Whether its main thread waits for a lock.
    bool waits_for_lock() const;

    // Lets a traced process run, instruction by instruction, until its main thread has taken a lock
    // that processes share and made so many instructions with it, or gives it back. Gives how many
    // it made with it.
    unsigned run_in_lock(unsigned last_instruction);

    // Lets a traced process run on by itself.
    void untrace();

private:
    bool note(int status);
    int deliver(int status) const;
    bool holds_lock() const;

    pid_t pid_ = -1;
    bool is_traced_ = false;
    bool is_stepping_ = false;  // it was let run for an instruction, and has not stopped yet
    bool is_stopped_ = false;   // at the step that was wanted
    bool has_ended_ = false;
    int status_ = -1000;
};

}  // namespace mox::kill_owner

#endif
