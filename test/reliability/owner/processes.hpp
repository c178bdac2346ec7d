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

    // Lets a traced process run on by itself.
    void untrace();

private:
    bool note(int status);
    int deliver(int status) const;

    pid_t pid_ = -1;
    bool is_traced_ = false;
    bool has_ended_ = false;
    int status_ = -1000;
};

}  // namespace mox::kill_owner

#endif
