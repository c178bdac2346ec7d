// What tests of the doctor's checks share: how a finding is matched, limits of this test's own
// System V namespace, and processes beside it.
#ifndef MOX_TEST_PROCESS_DOCTOR_FINDINGS_HPP
#define MOX_TEST_PROCESS_DOCTOR_FINDINGS_HPP

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <doctor_finding.hpp>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "host_owner.hpp"

namespace mox::test {

inline constexpr guint64 mib = guint64{1} << 20;
inline const char* const kernel_settings = "/proc/sys/kernel";

inline auto is(tool::Verdict verdict, const std::string& found) {
    return ::testing::AllOf(::testing::Field(&tool::Finding::verdict, verdict),
                            ::testing::Field(&tool::Finding::found, ::testing::HasSubstr(found)));
}

inline auto cure(const std::string& text) {
    return ::testing::Field(&tool::Finding::cure, ::testing::HasSubstr(text));
}

inline auto command(const std::string& text) {
    return ::testing::Field(&tool::Finding::command, text);
}

// A limit of this namespace, put back at the end.
class Setting {
public:
    Setting(const std::string& name, const std::string& value)
        : path_(std::string(kernel_settings) + "/" + name), before_(content_of(path_)) {
        std::ofstream(path_) << value << std::flush;
        EXPECT_EQ(content_of(path_), value + "\n") << path_;
    }
    ~Setting() { std::ofstream(path_) << before_ << std::flush; }
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

private:
    std::string path_;
    std::string before_;
};

inline tool::Finding finding_of(const std::vector<tool::Finding>& findings,
                                const std::string& check) {
    const auto found =
        std::find_if(findings.begin(), findings.end(),
                     [&check](const tool::Finding& item) { return item.check == check; });
    EXPECT_NE(found, findings.end()) << check;
    return found == findings.end() ? tool::Finding{} : *found;
}

// Runs the body in a child that lives on until this object ends.
class Neighbour {
public:
    template <typename Body>
    explicit Neighbour(Body&& body) {
        int ready[2] = {-1, -1};
        EXPECT_EQ(pipe(ready), 0);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            body();
            close(ready[1]);
            for (;;) pause();
        }
        close(ready[1]);
        char byte = 0;
        EXPECT_EQ(read(ready[0], &byte, 1), 0);  // its end is closed: the body is done
        close(ready[0]);
    }
    ~Neighbour() { end(); }
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;

    pid_t pid() const { return pid_; }
    void end() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        pid_ = 0;
    }

private:
    pid_t pid_ = 0;
};

}  // namespace mox::test

namespace mox::tool {

// How a finding is shown when a test fails.
inline void PrintTo(const Finding& finding, std::ostream* out) {
    *out << "verdict " << static_cast<int>(finding.verdict) << ": " << finding.found
         << "; cure: " << finding.cure << "; command: " << finding.command;
}

}  // namespace mox::tool

#endif
