// Commands of moxctl against an owner of a test's own, one after the other.
#ifndef MOX_TEST_PROCESS_MOXCTL_RUNS_HPP
#define MOX_TEST_PROCESS_MOXCTL_RUNS_HPP

#include <string>
#include <vector>

#include "host_owner.hpp"

namespace mox::test {

class MoxctlRuns {
public:
    // owner: outlives it.
    explicit MoxctlRuns(const HostOwner& owner) : owner_(owner) {}

    // What a command prints; it must end with this exit code.
    std::string run(const std::vector<std::string>& words, int exit_code) {
        std::vector<std::string> command{MOXCTL_PATH, "--run-dir", owner_.run_dir()};
        command.insert(command.end(), words.begin(), words.end());
        const std::string number = std::to_string(++count_);
        ChildProcess process(command, owner_.dir().path("stdout" + number),
                             owner_.dir().path("stderr" + number));
        EXPECT_EQ(process.wait(), exit_code) << process.errors();
        return process.output();
    }

private:
    const HostOwner& owner_;
    int count_ = 0;
};

}  // namespace mox::test

#endif
