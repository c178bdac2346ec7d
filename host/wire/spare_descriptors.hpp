// Whether this process may open some more files. GLib ends a process that has no descriptor left
// for one of its own, so whoever is about to need several asks before it begins.
#ifndef MOXHOST_WIRE_SPARE_DESCRIPTORS_HPP
#define MOXHOST_WIRE_SPARE_DESCRIPTORS_HPP

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace mox::host::wire {

// What an owner needs at its start with the store's files, and a module to join.
inline constexpr int owner_descriptors = 24;
inline constexpr int module_descriptors = 12;

// Why so many more files cannot be open at once; empty when they can.
inline std::string missing_descriptors(int count) {
    std::vector<int> open_files;
    while (static_cast<int>(open_files.size()) < count) {
        const int file = ::open("/", O_PATH | O_CLOEXEC);
        if (file < 0) break;
        open_files.push_back(file);
    }
    const int spare = static_cast<int>(open_files.size());
    for (const int file : open_files) ::close(file);
    if (spare == count) return {};
    return "this process may open " + std::to_string(spare) + " more files, " +
           std::to_string(count) + " are needed; raise its limit (ulimit -n, LimitNOFILE)";
}

}  // namespace mox::host::wire

#endif
