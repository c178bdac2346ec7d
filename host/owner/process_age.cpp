// Read from /proc. The start time is computed from the boot time, so it moves when the clock is
// set: callers allow for that.
#include "owner/process_age.hpp"

#include <unistd.h>

#include <charconv>
#include <fstream>
#include <sstream>
#include <string>

namespace mox::host {
namespace {

// Fields of the status line behind the process's name.
constexpr int state_field = 0;
constexpr int start_field = 19;

std::optional<std::int64_t> boot_time() {
    std::ifstream file("/proc/stat");
    std::string word;
    std::int64_t seconds = 0;
    while (file >> word) {
        if (word == "btime" && file >> seconds) {
            return seconds;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::int64_t> start_time_of(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    std::getline(file, line);
    // The name stands in parentheses and may hold anything: the last one ends it.
    const std::size_t name_end = line.rfind(") ");
    if (name_end == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream fields(line.substr(name_end + 2));
    std::string field;
    std::string state;
    for (int at = 0; at <= start_field && fields >> field; ++at) {
        if (at == state_field) {
            state = field;
        }
    }
    std::int64_t ticks = 0;
    const bool is_number =
        std::from_chars(field.data(), field.data() + field.size(), ticks).ec == std::errc();
    const std::optional<std::int64_t> boot = boot_time();
    if (state == "Z" || state == "X" || !is_number || !boot) {
        return std::nullopt;
    }
    return *boot + ticks / sysconf(_SC_CLK_TCK);
}

bool has_segment_mapped(pid_t pid, int segment_id) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/maps");
    std::string line;
    while (std::getline(file, line)) {
        // address permissions offset device inode name: a segment's inode is its id.
        std::istringstream fields(line);
        std::string skipped;
        std::string name;
        long inode = -1;
        fields >> skipped >> skipped >> skipped >> skipped >> inode >> name;
        if (inode == segment_id && name.rfind("/SYSV", 0) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace mox::host
