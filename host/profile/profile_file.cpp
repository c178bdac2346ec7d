// The file may change while it is read: the bound holds for what is read, not for what its size
// said.
#include "profile/profile_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "profile/fault.hpp"
#include "profile/profile.hpp"

namespace mox::host {
namespace {

constexpr const char* place = "file";

[[noreturn]] void fail(const std::string& cause) {
    throw Fault{place, cause};
}

[[noreturn]] void fail_with(const std::string& cause, int error) {
    fail(cause + ": " + std::generic_category().message(error));
}

class File {
public:
    explicit File(const char* path)
        // Without waiting: a pipe has no writer perhaps, and is refused right after.
        : descriptor_(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {
        if (descriptor_ < 0) {
            fail_with("cannot be opened", errno);
        }
    }
    ~File() { close(descriptor_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    int descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

void check_kind(int descriptor) {
    struct stat status = {};
    if (fstat(descriptor, &status) != 0) {
        fail_with("cannot be looked at", errno);
    }
    if (S_ISDIR(status.st_mode)) {
        fail("is a directory");
    }
    if (!S_ISREG(status.st_mode)) {
        fail("is not a regular file");
    }
}

}  // namespace

std::string read_profile_file(const std::string& path) {
    const File file(path.c_str());
    check_kind(file.descriptor());
    std::string content;
    char part[65536];
    for (;;) {
        const ssize_t got = read(file.descriptor(), part, sizeof part);
        if (got < 0 && errno != EINTR) {
            fail_with("cannot be read", errno);
        }
        if (got == 0) {
            break;
        }
        content.append(part, got > 0 ? static_cast<std::size_t>(got) : 0);
        if (content.size() > max_profile_bytes) {
            fail("has more than " + std::to_string(max_profile_bytes >> 20U) + " MiB");
        }
    }
    if (content.empty()) {
        fail("is empty");
    }
    return content;
}

}  // namespace mox::host
