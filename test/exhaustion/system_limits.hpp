// Limits of the system that a test sets and takes away again, for its own System V namespace or for
// one process.
#ifndef MOX_TEST_EXHAUSTION_SYSTEM_LIMITS_HPP
#define MOX_TEST_EXHAUSTION_SYSTEM_LIMITS_HPP

#include <sys/resource.h>

#include "../process/host_module.hpp"

namespace mox::test {

// A setting of the test's own System V namespace, put back at the end of the scope.
class Setting {
public:
    Setting(const char* name, const std::string& value)
        : path_(std::string("/proc/sys/kernel/") + name), before_(content_of(path_)) {
        write(value);
    }
    ~Setting() { write(before_); }
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;

private:
    void write(const std::string& value) const {
        std::ofstream file{path_};
        file << value << std::endl;
        EXPECT_TRUE(file.good()) << path_ << " " << value;
    }

    std::string path_;
    std::string before_;
};

inline void limit_descriptors(pid_t process, rlim_t most) {
    rlimit limit{};
    ASSERT_EQ(prlimit(process, RLIMIT_NOFILE, nullptr, &limit), 0);
    limit.rlim_cur = most == RLIM_INFINITY ? limit.rlim_max : most;
    ASSERT_EQ(prlimit(process, RLIMIT_NOFILE, &limit, nullptr), 0);
}

// Descriptors that a process has open.
inline rlim_t descriptors_of(pid_t process) {
    rlim_t count = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::directory_iterator{"/proc/" + std::to_string(process) + "/fd"}) {
        ++count;
    }
    return count;
}

// Queues in the test's namespace.
inline int queues() {
    const std::string list = content_of("/proc/sysvipc/msg");
    return static_cast<int>(std::count(list.begin(), list.end(), '\n')) - 1;
}

}  // namespace mox::test

#endif
