// A process that plays one part beside the owner, and what every part does.
//
// What holds: a part is forked before this process has a thread; it dies with the program, ends by
// itself after kMostSeconds whatever happens, and one that ends otherwise than with status 0 ends
// the program.
#ifndef MOX_TEST_RELIABILITY_PART_HPP
#define MOX_TEST_RELIABILITY_PART_HPP

#include <moxhost/moxhost.h>

#include <functional>
#include <string>
#include <vector>

#include "host_owner.hpp"

namespace mox::test {

inline constexpr unsigned kMostSeconds = 900;

// A forked process; killed with this object when it has not ended.
class Part {
public:
    // log: the file for what it prints.
    Part(const std::string& name, const std::filesystem::path& log,
         const std::function<void()>& body);
    ~Part();
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;

    pid_t pid() const { return pid_; }
    // Waits for its end, which must be a good one.
    void finish();
    // Ends the program when the part has ended already.
    void require_running();

private:
    std::string name_;
    pid_t pid_ = 0;
};

// Sends what this process prints to a file, so that its output has rows only; rows() undoes it.
class QuietOutput {
public:
    explicit QuietOutput(const std::filesystem::path& log);
    ~QuietOutput();
    QuietOutput(const QuietOutput&) = delete;
    QuietOutput& operator=(const QuietOutput&) = delete;

private:
    int output_;
};

// Joins; ends the process with the cause when that is refused.
MoxHostModule* join_owner(const HostOwner& owner, const std::string& name, MOX_MODULE_TYPE type);

// Ends the process with the error's text unless is_done. error: looked at after the call that sets
// it, so by reference.
void require_done(gboolean is_done, GError* const& error, const std::string& what);

// Handles what waits in this thread's main context.
void run_waiting();

// Runs the main context until the answer is true, or ends the program: nothing here takes longer
// than 20 seconds. parts: must all go on running.
void wait_for(const std::function<bool()>& is_true, const std::vector<Part*>& parts,
              const std::string& what);

}  // namespace mox::test

#endif
