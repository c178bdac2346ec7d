// What holds here: descriptors are opened non-blocking, closed on exec and on every path out, and
// only regular files and device nodes are touched. Files are opened anew for every access: a device
// that was unplugged, renamed or came back is then always the one that the path names now.
#include "device_file.hpp"

#include <fcntl.h>
#include <moxplat/driver.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "errno_code.hpp"

namespace mox::driver {
namespace {

class OpenFile {
public:
    OpenFile(const char* path, int flags) : descriptor_{::open(path, flags | always)} {
        if (descriptor_ < 0) {
            code_ = code_of_any_errno(errno);
        } else if (::fstat(descriptor_, &status_) != 0) {
            code_ = code_of_any_errno(errno);
        } else if (!S_ISREG(status_.st_mode) && !S_ISCHR(status_.st_mode) &&
                   !S_ISBLK(status_.st_mode)) {
            code_ = DRIVER_ERR_NOT_A_FILE;
        }
    }
    ~OpenFile() {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    gint32 code() const { return code_; }
    int descriptor() const { return descriptor_; }
    // A character device may have nothing to read now, and not every driver heeds O_NONBLOCK.
    bool may_wait() const { return S_ISCHR(status_.st_mode); }
    // The size of a regular file; 0 when it has none to tell, as in /proc.
    std::int64_t known_size() const { return S_ISREG(status_.st_mode) ? status_.st_size : 0; }

private:
    static constexpr int always = O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

    int descriptor_;
    struct stat status_ {};
    gint32 code_ = DRIVER_OK;
};

bool is_ready(int file, short direction) {
    pollfd question{};
    question.fd = file;
    question.events = direction;
    return ::poll(&question, 1, 0) > 0;
}

// One read at an offset; files that know no offsets are read on from where they are, which is right
// as long as `offset` is what was read so far. -1 with errno EAGAIN when there is nothing to read
// now.
ssize_t read_some(int file, bool may_wait, void* out, std::size_t length, std::int64_t offset,
                  std::int64_t read_so_far) {
    if (may_wait && !is_ready(file, POLLIN)) {
        errno = EAGAIN;
        return -1;
    }
    ssize_t got = -1;
    do {
        got = ::pread(file, out, length, offset);
        if (got < 0 && errno == ESPIPE && offset == read_so_far) {
            got = ::read(file, out, length);
        }
    } while (got < 0 && errno == EINTR);
    return got;
}

// True when there is not even a first byte: the file is there, its content is not. A device that
// has nothing to read is not asked a second time.
bool is_empty(const OpenFile& file) {
    char byte = 0;
    return file.may_wait() || ::pread(file.descriptor(), &byte, 1, 0) == 0;
}

// One write of the whole; 0 or a driver code.
gint32 write_once(const OpenFile& file, const void* in, std::size_t length, std::int64_t offset) {
    if (file.may_wait() && !is_ready(file.descriptor(), POLLOUT)) {
        return DRIVER_ERR_NOT_READY;
    }
    ssize_t put = -1;
    do {
        put = ::pwrite(file.descriptor(), in, length, offset);
        if (put < 0 && errno == ESPIPE && offset == 0) {
            put = ::write(file.descriptor(), in, length);
        }
    } while (put < 0 && errno == EINTR);
    if (put < 0) {
        return code_of_write_errno(errno);
    }
    return static_cast<std::size_t>(put) == length ? DRIVER_OK : DRIVER_ERR_IO;
}

}  // namespace

bool FileText::grow() {
    if (more_) {
        return false;
    }
    more_ = std::make_unique_for_overwrite<char[]>(longest_text);
    std::memcpy(more_.get(), first_.data(), length_);
    return true;
}

gint32 FileText::fill(int file, bool may_wait) {
    for (;;) {
        if (room() == 0 && !grow()) {
            char byte = 0;
            cut_ = read_some(file, may_wait, &byte, 1, static_cast<std::int64_t>(length_),
                             static_cast<std::int64_t>(length_)) > 0;
            return DRIVER_OK;
        }
        const auto offset = static_cast<std::int64_t>(length_);
        const ssize_t got = read_some(file, may_wait, end(), room(), offset, offset);
        if (got == 0) {
            return length_ == 0 ? DRIVER_ERR_NOT_READY : DRIVER_OK;
        }
        if (got < 0) {
            // A terminal or a socket-like device has said what it has to say for now.
            const bool is_all = errno == EAGAIN && length_ != 0;
            return is_all ? DRIVER_OK : code_of_text_read_errno(errno);
        }
        length_ += static_cast<std::size_t>(got);
    }
}

gint32 FileText::read(const char* path) {
    const OpenFile file{path, O_RDONLY};
    return file.code() != DRIVER_OK ? file.code() : fill(file.descriptor(), file.may_wait());
}

gint32 write_text(const char* path, std::string_view text) {
    const OpenFile file{path, O_WRONLY | O_TRUNC};
    if (file.code() != DRIVER_OK) {
        return file.code();
    }
    return write_once(file, text.data(), text.size(), 0);
}

gint32 read_bytes(const char* path, std::int64_t offset, void* out, std::size_t length) {
    const OpenFile file{path, O_RDONLY};
    if (file.code() != DRIVER_OK) {
        return file.code();
    }
    auto* bytes = static_cast<char*>(out);
    std::size_t done = 0;
    while (done < length) {
        const auto so_far = static_cast<std::int64_t>(done);
        const ssize_t got = read_some(file.descriptor(), file.may_wait(), bytes + done,
                                      length - done, offset + so_far, so_far);
        if (got < 0) {
            return code_of_raw_read_errno(errno);
        }
        if (got == 0) {
            return done == 0 && is_empty(file) ? DRIVER_ERR_NOT_READY : DRIVER_ERR_NO_VALUE;
        }
        done += static_cast<std::size_t>(got);
    }
    return DRIVER_OK;
}

gint32 write_bytes(const char* path, std::int64_t offset, const void* in, std::size_t length) {
    const OpenFile file{path, O_WRONLY};
    if (file.code() != DRIVER_OK) {
        return file.code();
    }
    const std::int64_t size = file.known_size();
    if (size != 0 && (offset > size || length > static_cast<std::uint64_t>(size - offset))) {
        return DRIVER_ERR_NO_VALUE;
    }
    return write_once(file, in, length, offset);
}

}  // namespace mox::driver
