// The trial takes the pool's own way, a System V segment, but a private one: it is in nobody's way
// and is gone at once.
#include "doctor_address.hpp"

#include <shmem.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <system_error>

namespace mox::tool {
namespace {

const char* const name = "address";
constexpr guint64 begin = SHM_POOL_ADDRESS;
// No kernel gives user space more than this on 32-bit; what lies above on 64-bit tells nothing.
constexpr guint64 end_of_32_bits = guint64{1} << 32;

struct Mapping {
    guint64 begin = 0;
    guint64 end = 0;
    std::string name;
};

// False for a line that is none.
bool read_mapping(const std::string& line, Mapping& mapping) {
    if (std::sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64, &mapping.begin, &mapping.end) != 2) {
        return false;
    }
    // Behind the range: permissions, offset, device, inode, and the name up to the line's end.
    std::istringstream fields(line);
    std::string skipped;
    for (int field = 0; field < 5; ++field) fields >> skipped;
    std::getline(fields >> std::ws, mapping.name);
    return true;
}

std::string hex(guint64 number) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%" PRIx64, number);
    return text.data();
}

std::string range_of(guint64 bytes) {
    return hex(begin) + " to " + hex(begin + bytes);
}

std::string error_text(int error) {
    return std::generic_category().message(error);
}

std::string content_of(const char* path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

Finding judge_refused_address(int error, const std::string& maps, guint64 bytes) {
    Mapping in_the_way;
    guint64 highest = 0;
    std::istringstream lines(maps);
    for (std::string line; std::getline(lines, line);) {
        Mapping mapping;
        if (!read_mapping(line, mapping)) continue;
        if (mapping.begin < begin + bytes && mapping.end > begin) in_the_way = mapping;
        highest = std::max(highest, mapping.end);
    }
    if (in_the_way.end != 0) {
        const std::string what =
            in_the_way.name.empty() ? "a mapping without a name" : in_the_way.name;
        return {name, Verdict::fail,
                range_of(bytes) + " is taken: by " + what + " at " + hex(in_the_way.begin) +
                    " to " + hex(in_the_way.end),
                "leave out what maps it: see LD_PRELOAD and /etc/ld.so.preload",
                "env -u LD_PRELOAD moxctl doctor"};
    }
    if (highest != 0 && highest < end_of_32_bits && highest < begin + bytes) {
        return {name, Verdict::fail,
                "user space ends at " + hex(highest) + ", below " + hex(begin + bytes) +
                    ": the kernel splits memory 2G/2G",
                "boot a kernel with a 3G/1G split, where this says y",
                "zgrep VMSPLIT_3G= /proc/config.gz"};
    }
    return {name, Verdict::fail, range_of(bytes) + " cannot be mapped: " + error_text(error),
            "see what is mapped there, and whether this user's address space is limited",
            "grep -E '^[0-9a-f]*(8f|9[0-2])' /proc/self/maps; ulimit -v"};
}

Finding check_address(guint64 bytes) {
    const int id = shmget(IPC_PRIVATE, static_cast<std::size_t>(bytes), 0600);
    if (id < 0) {
        return {
            name, Verdict::fail,
            "a segment of " + std::to_string(bytes) + " bytes cannot be made: " + error_text(errno),
            "raise what is too low, see the limits below", "ipcs -lm; ipcs -mu"};
    }
    void* const address = reinterpret_cast<void*>(std::uintptr_t{SHM_POOL_ADDRESS});
    void* const mapped = shmat(id, address, 0);
    const int error = errno;
    shmctl(id, IPC_RMID, nullptr);
    if (mapped == address) {
        shmdt(mapped);
        return {name, Verdict::ok, range_of(bytes) + " can be mapped"};
    }
    return judge_refused_address(error, content_of("/proc/self/maps"), bytes);
}

}  // namespace mox::tool
