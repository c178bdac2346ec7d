// Bounded access to a file or a device: no call creates a file or waits for data or a peer that may
// never come.
#ifndef MOXPLAT_LINUX_DRIVER_DEVICE_FILE_HPP
#define MOXPLAT_LINUX_DRIVER_DEVICE_FILE_HPP

#include <glib.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace mox::driver {

// As much of a text file as is looked at.
inline constexpr std::size_t longest_text = 65536;

// The text of a file. Nearly every attribute fits the part that needs no allocation.
class FileText {
public:
    std::string_view view() const { return {more_ ? more_.get() : first_.data(), length_}; }

    // True when the file goes on behind view().
    bool is_cut() const { return cut_; }

    // Reads the file from its start; 0 or a driver code. An empty file is "not ready".
    gint32 read(const char* path);

private:
    gint32 fill(int file, bool may_wait);
    char* end() { return (more_ ? more_.get() : first_.data()) + length_; }
    std::size_t room() const { return (more_ ? longest_text : first_.size()) - length_; }
    bool grow();

    std::array<char, 4096> first_;
    std::unique_ptr<char[]> more_;
    std::size_t length_ = 0;
    bool cut_ = false;
};

// Replaces the content of a text file or an attribute in one write; 0 or a driver code.
gint32 write_text(const char* path, std::string_view text);

// Reads exactly `length` bytes from `offset` on; 0 or a driver code.
gint32 read_bytes(const char* path, std::int64_t offset, void* out, std::size_t length);

// Writes exactly `length` bytes from `offset` on, inside the file when its size is known; 0 or a
// driver code.
gint32 write_bytes(const char* path, std::int64_t offset, const void* in, std::size_t length);

}  // namespace mox::driver

#endif
