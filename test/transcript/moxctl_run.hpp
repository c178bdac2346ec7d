// Runs moxctl once for a test that wants more than its lines.
#ifndef MOX_TEST_TRANSCRIPT_MOXCTL_RUN_HPP
#define MOX_TEST_TRANSCRIPT_MOXCTL_RUN_HPP

#include <string>
#include <vector>

#include "../process/host_owner.hpp"
#include "transcript.hpp"

namespace mox::test {

// An owner with the model of the transcripts.
class SensorsOwner {
public:
    bool start() {
        const std::string profile = content_of(TRANSCRIPT_DIR "/sensors.json");
        owner_.set_level(12);
        return owner_.start(
            with_names(profile, {{"dir", owner_.dir().path("x").parent_path().string()}}));
    }
    HostOwner& owner() { return owner_; }

private:
    HostOwner owner_;
};

struct RunResult {
    std::string output;
    std::string errors;
    int status = 0;
};

// Runs a command to its end. command: its first word is a path.
inline RunResult run_command(const HostOwner& owner, const std::vector<std::string>& command) {
    ChildProcess process(command, owner.dir().path("run-out"), owner.dir().path("run-err"));
    const int status = process.wait();
    return {process.output(), process.errors(), status};
}

// Runs moxctl against the owner.
inline RunResult run_moxctl(const HostOwner& owner, const std::vector<std::string>& arguments) {
    std::vector<std::string> command{MOXCTL_PATH, "--run-dir", owner.run_dir()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run_command(owner, command);
}

}  // namespace mox::test

#endif
